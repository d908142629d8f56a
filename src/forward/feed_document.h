// The document that the feed takes: EEML 0.5.1, with a data element for each datastream.
#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

namespace corvane {

struct Datastream {
    int id;
    double value;   ///< watts; sent as a whole number
    QString label;  ///< empty becomes "No Label"
};

struct FeedUnit {
    const char* symbol;
    const char* name;
};

inline constexpr FeedUnit kValueUnit = {"", "watt"};  ///< of a document that brings values
inline constexpr FeedUnit kSetUpUnit = {"W", "watt"};

/// The document in UTF-8, lines ended by CR LF. It is well-formed whatever title and labels contain;
/// characters that XML cannot hold are left out.
[[nodiscard]] QByteArray FeedDocument(const QString& title, const std::vector<Datastream>& datastreams,
                                      const FeedUnit& unit);

}  // namespace corvane
