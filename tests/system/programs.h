// The real programs, started and ended by a test.
#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "store/settings_store.h"
#include "support/loopback.h"
#include "support/settings_by_key.h"
#include "support/temp_folder.h"

namespace corvane {

/// A program of the build, ended with the object that stands for it.
class Started {
public:
    Started(const QString& name, const QStringList& arguments) {
        process_.setProcessChannelMode(QProcess::MergedChannels);
        process_.start(QDir(QCoreApplication::applicationDirPath()).filePath(name), arguments);
    }
    ~Started() {
        process_.kill();
        process_.waitForFinished();
    }
    Started(const Started&) = delete;
    Started& operator=(const Started&) = delete;

    /// Waits for a line that holds `part`; fails where none came within five seconds.
    [[nodiscard]] testing::AssertionResult Says(const QString& part) {
        constexpr int kPatience = 30'000;  // ms, for a machine that has much else to do
        const bool said = SpinUntil(
            [&] {
                (void)News();
                return output_.contains(part);
            },
            kPatience);
        return testing::AssertionResult(said) << output_.toStdString();
    }

    /// Its exit code once it ends by itself; -1 where it does not within `patience` ms, or crashed.
    [[nodiscard]] int ExitCode(int patience = 5000) {
        process_.waitForFinished(patience);
        const bool ended =
            process_.state() == QProcess::NotRunning && process_.error() != QProcess::FailedToStart;
        if (!ended || process_.exitStatus() != QProcess::NormalExit) return -1;
        (void)News();
        return process_.exitCode();
    }

    /// What it printed since the last look.
    [[nodiscard]] QString News() {
        QString news = QString::fromUtf8(process_.readAll());
        output_ += news;
        return news;
    }

    void Terminate() { process_.terminate(); }
    void Kill() { process_.kill(); }
    [[nodiscard]] bool IsRunning() const { return process_.state() == QProcess::Running; }
    [[nodiscard]] const QString& Output() const { return output_; }
    [[nodiscard]] qint64 Pid() const { return process_.processId(); }

private:
    QProcess process_;
    QString output_;
};

/// A data folder whose settings name free ports, and a service on it.
class ServiceFolder {
public:
    ServiceFolder() {
        Preset(QStringLiteral("TcpPortA"), QString::number(portA));
        Preset(QStringLiteral("TcpPortB"), QString::number(portB));
        Preset(QStringLiteral("WebPort"), QString::number(webPort));
    }

    void Preset(const QString& key, const QString& value, const QString& section = kStartupSection) const {
        SettingsStore store(folder.Path(QStringLiteral("corvane.ini")));
        KeepByKey(store, key, value, section);
    }

    [[nodiscard]] QStringList Arguments() const { return {QStringLiteral("--data-dir"), folder.Path()}; }

    /// What `corvanectl --json` answers, also where something is not well; empty where it failed.
    [[nodiscard]] QJsonObject Ask(const QStringList& command) const {
        Started ctl(QStringLiteral("corvanectl"),
                    QStringList{QStringLiteral("--json")} + Arguments() + command);
        (void)ctl.ExitCode();
        return QJsonDocument::fromJson(ctl.Output().toUtf8()).object();
    }

    TempFolder folder;
    const std::uint16_t portA = FreePort();
    const std::uint16_t portB = FreePort();
    const std::uint16_t webPort = FreePort();
};

/// A test of a service, and of the monitors that send to it.
class ServiceTest : public testing::Test {
protected:
    /// Starts the service, with so much added to its environment, after one that ran before has gone.
    void StartService(const QStringList& environment = {}) {
        service_.reset();
        const QString program =
            QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("corvaned"));
        service_ = std::make_unique<Started>(QStringLiteral("/usr/bin/env"),
                                             environment + QStringList{program} + house_.Arguments());
        ASSERT_TRUE(service_->Says(QStringLiteral("TCP Server B listens")));
    }
    void EndService() {
        service_->Terminate();
        EXPECT_EQ(service_->ExitCode(), 0) << service_->Output().toStdString();
    }

    /// Starts a simulated monitor that connects to this port.
    static std::unique_ptr<Started> StartMonitor(const QString& serial, std::uint16_t port,
                                                 const QStringList& arguments) {
        const QStringList own = {QStringLiteral("--serial"), serial, QStringLiteral("--connect"),
                                 QStringLiteral("127.0.0.1:%1").arg(port)};
        return std::make_unique<Started>(QStringLiteral("corvane-sim"), own + arguments);
    }

    ServiceFolder house_;
    std::unique_ptr<Started> service_;
};

}  // namespace corvane
