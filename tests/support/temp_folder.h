// A folder of a test's own, which is gone when the test ends.
#pragma once

#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace corvane {

class TempFolder {
public:
    [[nodiscard]] QString Path() const { return dir_.path(); }
    [[nodiscard]] QString Path(const QString& name) const { return dir_.filePath(name); }

    void Write(const QString& name, std::string_view bytes) const {
        QFile file(Path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << name.toStdString();
        ASSERT_EQ(file.write(bytes.data(), static_cast<qint64>(bytes.size())),
                  static_cast<qint64>(bytes.size()));
    }

    /// The bytes of a file; a file that is not there fails the test.
    [[nodiscard]] std::string Read(const QString& name) const {
        QFile file(Path(name));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
        return file.readAll().toStdString();
    }

    /// Names of the files and folders in it, sorted.
    [[nodiscard]] std::vector<std::string> Entries() const {
        std::vector<std::string> names;
        const auto entries =
            QDir(Path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
        for (const QString& name : entries)
            names.push_back(name.toStdString());
        return names;
    }

private:
    QTemporaryDir dir_;
};

/// Who may do what with a file, as it is written for chmod: "600".
inline std::string Rights(const QString& path) {
    const auto rights = static_cast<unsigned>(QFile::permissions(path).toInt());
    return std::to_string(100 * (rights >> 12 & 7) + 10 * (rights >> 4 & 7) + (rights & 7));
}

}  // namespace corvane
