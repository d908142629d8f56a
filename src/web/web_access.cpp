#include "web/web_access.h"

#include <QHostAddress>
#include <QString>

namespace corvane {

namespace {

/// Takes the same time wherever the texts differ, so that nobody can guess a token letter by letter.
bool Same(std::string_view given, std::string_view token) {
    if (given.size() != token.size()) return false;
    unsigned different = 0;
    for (std::size_t i = 0; i < token.size(); ++i)
        different |= static_cast<unsigned char>(given[i]) ^ static_cast<unsigned char>(token[i]);
    return different == 0;
}

bool IsNumberOrLocalhost(std::string_view host) {
    const auto end = host.find_last_of(":]");
    if (end != std::string_view::npos && host[end] == ':') host = host.substr(0, end);
    if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
    return host == "localhost" ||
           !QHostAddress(QString::fromLatin1(host.data(), qsizetype(host.size()))).isNull();
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
    return Same(credentials.token, token) ? WebAccess::ByAddress : WebAccess::NeedsToken;
}

}  // namespace corvane
