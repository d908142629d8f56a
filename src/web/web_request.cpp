#include "web/web_request.h"

namespace corvane {

namespace {

int HostLines(MHD_Connection* connection) {
    int lines = 0;
    const auto count = [](void* cls, MHD_ValueKind, const char* key, const char*) {
        if (qstricmp(key, MHD_HTTP_HEADER_HOST) == 0) ++*static_cast<int*>(cls);
        return MHD_YES;
    };
    MHD_get_connection_values(connection, MHD_HEADER_KIND, count, &lines);
    return lines;
}

}  // namespace

std::string_view RequestValue(MHD_Connection* connection, MHD_ValueKind kind, const char* key) {
    const char* value = MHD_lookup_connection_value(connection, kind, key);
    return value != nullptr ? value : std::string_view();
}

QHash<QString, QString> RequestArguments(MHD_Connection* connection,
                                         std::initializer_list<const char*> keys) {
    QHash<QString, QString> arguments;
    for (const char* key : keys) {
        const std::string_view value = RequestValue(connection, MHD_GET_ARGUMENT_KIND, key);
        arguments[QString::fromLatin1(key)] = QString::fromUtf8(value.data(), qsizetype(value.size()));
    }
    return arguments;
}

std::optional<WebReply> TargetRefusal(std::string_view target) {
    if (target.size() > kLongestTarget)
        return WebReply::Text(MHD_HTTP_URI_TOO_LONG, "No address here is that long.\n");
    if (!target.starts_with('/') || target.find("%00") != std::string_view::npos)
        return WebReply::Text(MHD_HTTP_BAD_REQUEST, "That is no address of a page here.\n");
    return std::nullopt;
}

std::optional<WebReply> HeaderRefusal(MHD_Connection* connection, std::string_view method) {
    if (method != MHD_HTTP_METHOD_GET && method != MHD_HTTP_METHOD_HEAD)
        return WebReply::Text(MHD_HTTP_METHOD_NOT_ALLOWED, "Pages can be read, and nothing else.\n");
    if (HostLines(connection) > 1) return WebReply::Text(MHD_HTTP_BAD_REQUEST, "A request names one host.\n");
    const std::string_view length = RequestValue(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_CONTENT_LENGTH);
    const std::string_view coding =
        RequestValue(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_TRANSFER_ENCODING);
    if ((length.empty() || length == "0") && coding.empty()) return std::nullopt;
    return WebReply::Text(MHD_HTTP_CONTENT_TOO_LARGE, "A request brings nothing but its address.\n");
}

}  // namespace corvane
