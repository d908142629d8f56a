// What a test is to do and to find, as lines of a text file beside it.
#pragma once

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace corvane {

/// A line "LEFT == RIGHT", or cells that " | " parts; streamed, it tells its number and text. Lines that
/// begin with "# " and empty ones are remarks, "== TITLE" begins a section.
struct DataLine {
    QString left;
    QString right;
    bool expects;       ///< whether there is a " == " in it
    std::string place;  ///< its number and text, for whoever has to look for it
    QString text;

    [[nodiscard]] QStringList Columns() const {
        static const QRegularExpression bar(QStringLiteral(" \\|(?= )"));
        return (u' ' + text + u' ').split(bar);
    }
    /// The test fails where the line has no such cell.
    [[nodiscard]] QString Column(qsizetype i) const {
        EXPECT_LT(i, Columns().size()) << place;
        return Columns().value(i).trimmed();
    }
    [[nodiscard]] std::string Word(qsizetype i) const { return Column(i).toStdString(); }
    [[nodiscard]] double Number(qsizetype i) const { return Column(i).toDouble(); }

    friend std::ostream& operator<<(std::ostream& out, const DataLine& line) { return out << line.place; }
};

struct DataSection {
    std::string title;
    std::vector<DataLine> lines;
};

/// The path of the file `name` in the folder of the test that asks.
inline QString Beside(const QString& name, const char* test = __builtin_FILE()) {
    return QFileInfo(QString::fromUtf8(test)).path() + u'/' + name;
}

/// The sections of the file at `path`, in their order.
inline std::vector<DataSection> SectionsIn(const QString& path) {
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

/// The sections of the text file that is named as the test that asks, beside it.
inline std::vector<DataSection> SectionsOf(const char* test = __builtin_FILE()) {
    return SectionsIn(Beside(QFileInfo(QString::fromUtf8(test)).baseName() + QStringLiteral(".txt"), test));
}

inline std::vector<DataLine> LinesUnder(const std::string& title, const std::vector<DataSection>& sections) {
    for (const DataSection& section : sections) {
        if (section.title == title) return section.lines;
    }
    ADD_FAILURE() << "There is no section " << title;
    return {};
}

/// The lines of one of those sections.
inline std::vector<DataLine> LinesOf(const std::string& title, const char* test = __builtin_FILE()) {
    return LinesUnder(title, SectionsOf(test));
}

/// The lines of a section of "cases.txt", which the tests of a folder share.
inline std::vector<DataLine> CasesOf(const std::string& title, const char* test = __builtin_FILE()) {
    return LinesUnder(title, SectionsIn(Beside(QStringLiteral("cases.txt"), test)));
}

/// What a section of a test on parameters is called in messages.
inline void PrintTo(const DataSection& section, std::ostream* out) {
    *out << section.title;
}

}  // namespace corvane
