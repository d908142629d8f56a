// What is answered to a request.
#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>

struct MHD_Response;

namespace corvane {

inline constexpr const char* kEventStream = "text/event-stream";

struct WebReply {
    unsigned status = 200;
    const char* type = "text/plain; charset=utf-8";
    QByteArray body = {};
    bool lasting = false;  ///< may be kept by the browser for a day

    static WebReply Text(unsigned status, const char* text) { return {.status = status, .body = text}; }
    static WebReply Json(unsigned status, const QJsonObject& object) {
        return {.status = status,
                .type = "application/json",
                .body = QJsonDocument(object).toJson(QJsonDocument::Compact)};
    }
};

/// Adds the headers that every reply has, and those that are due to this one.
void AddHeaders(MHD_Response* response, const WebReply& reply);

}  // namespace corvane
