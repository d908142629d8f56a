#include "web/web_reply.h"

#include <microhttpd.h>

#include <utility>

namespace corvane {

namespace {

/// With every reply: nothing is loaded but from here, nothing runs that stands within a page, nobody frames
/// it.
constexpr std::pair<const char*, const char*> kHeaders[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
     "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
};

}  // namespace

void AddHeaders(MHD_Response* response, const WebReply& reply) {
    for (const auto& [name, value] : kHeaders)
        MHD_add_response_header(response, name, value);
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, reply.type);
    MHD_add_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL,
                            reply.lasting ? "private, max-age=86400" : "no-store");
    if (reply.status == MHD_HTTP_METHOD_NOT_ALLOWED)
        MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
    if (reply.type == kEventStream)  // a server in front is not to keep events until it has many
        MHD_add_response_header(response, "X-Accel-Buffering", "no");
}

}  // namespace corvane
