// What a test is to do and to find, as lines of a text file beside it.
#pragma once

#include <QFile>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace corvane {

/// A line "LEFT == RIGHT", or columns that "|" parts; streamed, it tells its number and text. Lines that
/// begin with "# " and empty ones are remarks, "== TITLE" begins a section.
struct DataLine {
    QString left;
    QString right;
    bool expects;       ///< whether there is a " == " in it
    std::string place;  ///< its number and text, for whoever has to look for it
    QString text;

    [[nodiscard]] QString Column(qsizetype i) const { return text.split(u'|').value(i).trimmed(); }
    [[nodiscard]] std::string Word(qsizetype i) const { return Column(i).toStdString(); }
    [[nodiscard]] double Number(qsizetype i) const { return Column(i).toDouble(); }

    friend std::ostream& operator<<(std::ostream& out, const DataLine& line) { return out << line.place; }
};

struct DataSection {
    std::string title;
    std::vector<DataLine> lines;
};

/// The sections of the file at `path`, in their order.
inline std::vector<DataSection> SectionsOf(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QFile::ReadOnly)) << path.toStdString();
    std::vector<DataSection> sections;
    int number = 0;
    for (const QString& line : QString::fromUtf8(file.readAll()).split(u'\n')) {
        ++number;
        if (line.startsWith(QStringLiteral("== ")))
            sections.push_back({.title = line.mid(3).toStdString(), .lines = {}});
        else if (!line.isEmpty() && !line.startsWith(QStringLiteral("# ")))
            sections.back().lines.push_back({.left = line.section(QStringLiteral(" == "), 0, 0),
                                             .right = line.section(QStringLiteral(" == "), 1),
                                             .expects = line.contains(QStringLiteral(" == ")),
                                             .place = std::to_string(number) + ": " + line.toStdString(),
                                             .text = line});
    }
    return sections;
}

/// The lines of one section.
inline std::vector<DataLine> LinesOf(const QString& path, const std::string& title) {
    for (const DataSection& section : SectionsOf(path)) {
        if (section.title == title) return section.lines;
    }
    ADD_FAILURE() << path.toStdString() << " has no section " << title;
    return {};
}

/// What a section of a test on parameters is called in messages.
inline void PrintTo(const DataSection& section, std::ostream* out) {
    *out << section.title;
}

}  // namespace corvane
