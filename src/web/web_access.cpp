#include "web/web_access.h"

#include <QHostAddress>
#include <QString>

#include "link/host_port.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// Takes the same time wherever the texts differ, in length, too, so that nobody can guess a token letter by
/// letter. `token` is not empty.
bool Same(std::string_view given, std::string_view token) {
    unsigned different = given.size() == token.size() ? 0 : 1;
    for (std::size_t i = 0; i < given.size(); ++i)
        different |= static_cast<unsigned char>(given[i] ^ token[i % token.size()]);
    return different == 0;
}

bool IsNumberOrLocalhost(std::string_view text) {
    const auto parsed = ParseHostPort(QString::fromLatin1(text.data(), qsizetype(text.size())));
    return parsed.has_value() && (parsed->host == "localhost"_L1 || !QHostAddress(parsed->host).isNull());
}

}  // namespace

WebAccess JudgeAccess(const WebCredentials& credentials, std::string_view token) {
    if (token.empty())
        return IsNumberOrLocalhost(credentials.host) ? WebAccess::Granted : WebAccess::WrongHost;
    constexpr std::string_view kBearer = "Bearer ";
    const std::string_view bearer = credentials.authorization.starts_with(kBearer)
                                        ? credentials.authorization.substr(kBearer.size())
                                        : "";
    if (Same(credentials.cookie, token) || Same(bearer, token)) return WebAccess::Granted;
    if (Same(credentials.token, token)) return WebAccess::ByAddress;
    const bool told = !credentials.cookie.empty() || !bearer.empty() || !credentials.token.empty();
    return told ? WebAccess::WrongToken : WebAccess::NeedsToken;
}

}  // namespace corvane
