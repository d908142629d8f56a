// A browser without a window, driven over the pipe that it offers to debuggers.
#pragma once

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSocketNotifier>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/loopback.h"
#include "support/temp_folder.h"

namespace corvane {

class Chromium {
public:
    Chromium() {
        std::array<int, 2> to = Pipe();
        std::array<int, 2> from = Pipe();
        toBrowser_ = to[1];
        fromBrowser_ = from[0];
        process_.setChildProcessModifier([to, from] {
            dup2(to[0], 3);  // where the browser reads commands, and where it answers
            dup2(from[1], 4);
        });
        process_.start(QStringLiteral("chromium-headless-shell"),
                       {QStringLiteral("--no-sandbox"), QStringLiteral("--disable-gpu"),
                        QStringLiteral("--disable-dev-shm-usage"), QStringLiteral("--remote-debugging-pipe"),
                        QStringLiteral("--user-data-dir=") + folder_.Path(), QStringLiteral("about:blank")});
        EXPECT_TRUE(process_.waitForStarted()) << "chromium-headless-shell is missing";
        close(to[0]);
        close(from[1]);
        notifier_ = std::make_unique<QSocketNotifier>(fromBrowser_, QSocketNotifier::Read);
        QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { ReadAnswers(); });
        const QJsonObject page = Command("Target.createTarget", {{"url", QStringLiteral("about:blank")}});
        session_ = Command("Target.attachToTarget", {{"targetId", page[QStringLiteral("targetId")]},
                                                     {"flatten", true}})[QStringLiteral("sessionId")]
                       .toString();
        for (const char* domain : {"Page.enable", "Runtime.enable", "Log.enable", "Network.enable"})
            Command(domain);
    }
    ~Chromium() {
        notifier_.reset();
        close(toBrowser_);
        close(fromBrowser_);
        process_.kill();
        process_.waitForFinished();
    }
    Chromium(const Chromium&) = delete;
    Chromium& operator=(const Chromium&) = delete;

    /// The result of a command of the debugging protocol; empty where it failed.
    QJsonObject Command(const char* method,
                        std::initializer_list<std::pair<const char*, QJsonValue>> given = {}) {
        QJsonObject parameters;
        for (const auto& [name, value] : given)
            parameters[QLatin1StringView(name)] = value;
        QJsonObject command{{QStringLiteral("id"), ++lastId_},
                            {QStringLiteral("method"), QLatin1StringView(method)},
                            {QStringLiteral("params"), parameters}};
        if (!session_.isEmpty()) command[QStringLiteral("sessionId")] = session_;
        QByteArray text = QJsonDocument(command).toJson(QJsonDocument::Compact);
        text.append('\0');
        EXPECT_EQ(write(toBrowser_, text.constData(), static_cast<std::size_t>(text.size())), text.size());
        const int id = lastId_;
        EXPECT_TRUE(SpinUntil([&] { return answers_.contains(id); }, 30'000)) << method;
        return answers_[id];
    }

    void SetScreen(int width, int height) {
        Command("Emulation.setDeviceMetricsOverride",
                {{"width", width}, {"height", height}, {"deviceScaleFactor", 1}, {"mobile", false}});
    }

    void Open(const QString& address) { Command("Page.navigate", {{"url", address}}); }

    /// What an expression of the page's script comes to.
    [[nodiscard]] QJsonValue Evaluate(const QString& expression) {
        const QJsonObject reply =
            Command("Runtime.evaluate", {{"expression", expression}, {"returnByValue", true}});
        return reply[QStringLiteral("result")].toObject()[QStringLiteral("value")];
    }

    /// Whether the expression becomes true within some seconds.
    [[nodiscard]] bool Shows(const QString& expression) {
        for (int tries = 0; tries < 3; ++tries) {
            if (SpinUntil([&] { return Evaluate(expression).toBool(); })) return true;
        }
        return false;
    }

    std::vector<std::string> requests;  ///< addresses of everything that was asked for
    std::vector<std::string> faults;    ///< of scripts, of the rules of the page, and what was not found

private:
    static std::array<int, 2> Pipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        for (int& end : ends) {  // out of the way of the numbers that the browser uses
            const int moved = fcntl(end, F_DUPFD_CLOEXEC, 10);
            close(std::exchange(end, moved));
        }
        return ends;
    }

    void ReadAnswers() {
        std::array<char, 65536> buffer{};
        const ssize_t count = read(fromBrowser_, buffer.data(), buffer.size());
        if (count <= 0) return notifier_->setEnabled(false);
        received_.append(buffer.data(), count);
        for (auto end = received_.indexOf('\0'); end >= 0; end = received_.indexOf('\0')) {
            const QJsonObject message = QJsonDocument::fromJson(received_.left(end)).object();
            received_.remove(0, end + 1);
            if (message.contains(QStringLiteral("id")))
                answers_[message[QStringLiteral("id")].toInt()] =
                    message[QStringLiteral("result")].toObject();
            else
                Take(message[QStringLiteral("method")].toString(),
                     message[QStringLiteral("params")].toObject());
        }
    }

    void Take(const QString& event, const QJsonObject& told) {
        const auto in = [&told](const char* object, const char* key) -> QJsonValue {
            return told[QLatin1StringView(object)].toObject()[QLatin1StringView(key)];
        };
        const std::string all = QJsonDocument(told).toJson(QJsonDocument::Compact).toStdString();
        if (event == QLatin1StringView("Network.requestWillBeSent"))
            requests.push_back(in("request", "url").toString().toStdString());
        const bool isFault = event == QLatin1StringView("Runtime.exceptionThrown") ||
                             event == QLatin1StringView("Runtime.consoleAPICalled") ||
                             // A connection that is gone is for the page to tell.
                             (event == QLatin1StringView("Log.entryAdded") &&
                              in("entry", "source").toString() != QLatin1StringView("network")) ||
                             (event == QLatin1StringView("Network.responseReceived") &&
                              in("response", "status").toInt() >= 400);
        if (isFault) faults.push_back(all);
    }

    TempFolder folder_;
    QProcess process_;
    int toBrowser_ = -1;
    int fromBrowser_ = -1;
    std::unique_ptr<QSocketNotifier> notifier_;
    QByteArray received_;
    std::map<int, QJsonObject> answers_;
    QString session_;
    int lastId_ = 0;
};

}  // namespace corvane
