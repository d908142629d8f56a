#include "forward/feed_document.h"

#include <QStringList>

#include "base/number_format.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// `text` as the content of an XML element.
QString Escaped(const QString& text) {
    QString escaped;
    for (const char32_t c : text.toStdU32String()) {
        switch (c) {
            case U'&':
                escaped += "&amp;"_L1;
                break;
            case U'<':
                escaped += "&lt;"_L1;
                break;
            case U'>':
                escaped += "&gt;"_L1;
                break;
            default: {
                const bool control = c < 0x20 && c != U'\t' && c != U'\n' && c != U'\r';
                const bool surrogate = c >= 0xD800 && c <= 0xDFFF;
                if (!control && !surrogate && c != 0xFFFE && c != 0xFFFF) escaped += QChar::fromUcs4(c);
            }
        }
    }
    return escaped;
}

QStringList DatastreamLines(const Datastream& datastream, const FeedUnit& unit) {
    const QString label = datastream.label.isEmpty() ? u"No Label"_s : datastream.label;
    return {
        u"<data id='%1'>"_s.arg(datastream.id),
        u"<current_value>"_s + QString::fromStdString(FormatNumber(datastream.value, "#####0")) +
            u"</current_value>"_s,
        u"<tag>"_s + Escaped(label) + u"</tag>"_s,
        u"<min_value>0</min_value>"_s,
        u"<unit symbol='%1' type='derivedSI'>%2</unit>"_s.arg(QLatin1StringView(unit.symbol),
                                                              QLatin1StringView(unit.name)),
        u"</data>"_s,
    };
}

}  // namespace

QByteArray FeedDocument(const QString& title, const std::vector<Datastream>& datastreams,
                        const FeedUnit& unit) {
    QStringList lines = {
        u"<?xml version='1.0' encoding='UTF-8'?>"_s,
        u"<eeml xmlns='http://www.eeml.org/xsd/0.5.1' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
        "version='0.5.1' xsi:schemaLocation='http://www.eeml.org/xsd/0.5.1 "
        "http://www.eeml.org/xsd/0.5.1/0.5.1.xsd'>"_s,
        u"<environment creator='http://www.pachube.com'>"_s,
        u"<title>"_s + Escaped(title) + u"</title>"_s,
    };
    for (const Datastream& datastream : datastreams)
        lines += DatastreamLines(datastream, unit);
    lines += {u"</environment>"_s, u"</eeml>"_s};
    return (lines.join("\r\n"_L1) + "\r\n"_L1).toUtf8();
}

}  // namespace corvane
