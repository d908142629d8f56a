// Who may read the pages.
#pragma once

#include <string_view>

namespace corvane {

/// What a request tells of who sends it. Empty where it does not.
struct WebCredentials {
    std::string_view host;           ///< as the browser was told it, with the port
    std::string_view token;          ///< argument `token` of the address
    std::string_view cookie;         ///< the one that was handed out for a token in an address
    std::string_view authorization;  ///< "Bearer " and the token, from programs
};

enum class WebAccess {
    Granted,
    ByAddress,   ///< granted by the address: to be kept as a cookie, so that the address need not tell it
                 ///< again
    NeedsToken,  ///< none was told
    WrongToken,
    WrongHost,  ///< a page of somebody else's name: it may not read what only this machine is to see
};

/// `token` is the one to be known; empty where there is none. Without one, only requests to a number or to
/// "localhost" are served: a name that another site lets point to this machine is none of ours.
[[nodiscard]] WebAccess JudgeAccess(const WebCredentials& credentials, std::string_view token);

}  // namespace corvane
