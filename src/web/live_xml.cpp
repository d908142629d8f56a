#include "web/live_xml.h"

#include <QJsonArray>
#include <QXmlStreamWriter>

#include <algorithm>
#include <string>

#include "base/number_format.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// What XML cannot hold, not even escaped, becomes a blank.
QString Allowed(QString text) {
    for (QChar& letter : text) {
        const char16_t code = letter.unicode();
        if ((code < 0x20 && code != '\t') || code == 0xFFFE || code == 0xFFFF || letter.isSurrogate())
            letter = u' ';
    }
    return text;
}

QString TextOf(const QJsonValue& value) {
    if (value.isDouble()) return QString::fromStdString(ShortestText(value.toDouble()));
    if (value.isBool()) return value.toBool() ? u"true"_s : u"false"_s;
    return Allowed(value.toString());
}

void WriteElement(QXmlStreamWriter& xml, const QString& name, const QJsonObject& object) {
    xml.writeStartElement(name);
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (it->isDouble() || it->isBool() || it->isString()) xml.writeAttribute(it.key(), TextOf(*it));
    }
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (it->isObject()) WriteElement(xml, it.key(), it->toObject());
        const QString member = it.key().endsWith(u's') ? it.key().chopped(1) : it.key();
        const QJsonArray list = it->toArray();
        for (const auto& each : list) {
            if (each.isObject())
                WriteElement(xml, member, each.toObject());
            else
                xml.writeTextElement(member, TextOf(each));
        }
    }
    xml.writeEndElement();
}

}  // namespace

QByteArray LiveXml(const QJsonObject& readings) {
    QByteArray text;
    QXmlStreamWriter xml(&text);
    xml.writeStartDocument();
    WriteElement(xml, u"readings"_s, readings);
    xml.writeEndDocument();
    return text;
}

}  // namespace corvane
