// Cases that stand in a text file beside the test, `cases.txt`: "== NAME" begins the cases of a test, one a
// line, "|" parts its columns, and "#" begins a remark.
#pragma once

#include <QFile>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace corvane {

/// A line of the file; streamed, it tells its number and text.
struct CaseLine {
    int number;
    QString text;

    [[nodiscard]] QString Column(qsizetype i) const { return text.split(u'|').value(i).trimmed(); }
    [[nodiscard]] std::string Word(qsizetype i) const { return Column(i).toStdString(); }
    [[nodiscard]] double Number(qsizetype i) const { return Column(i).toDouble(); }

    friend std::ostream& operator<<(std::ostream& out, const CaseLine& line) {
        return out << "cases.txt:" << line.number << ": " << line.text.toStdString();
    }
};

/// The cases under "== `name`", of which there must be some.
inline std::vector<CaseLine> CasesOf(const char* name) {
    QFile file(QStringLiteral(CORVANE_TESTS "/cases.txt"));
    EXPECT_TRUE(file.open(QFile::ReadOnly));
    std::vector<CaseLine> cases;
    bool wanted = false;
    for (int number = 1; !file.atEnd(); ++number) {
        const QString text = QString::fromUtf8(file.readLine()).chopped(1);
        if (text.startsWith(QStringLiteral("== "))) {
            wanted = text.sliced(3) == QLatin1StringView(name);
        } else if (wanted && !text.isEmpty() && !text.startsWith(u'#')) {
            cases.push_back({number, text});
        }
    }
    EXPECT_FALSE(cases.empty()) << name;
    return cases;
}

}  // namespace corvane
