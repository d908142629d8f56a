// A whole program in a folder of its own, on a clock that the test steps.
#pragma once

#include <QCoroTask>
#include <QFile>

#include <gtest/gtest.h>

#include <memory>

#include "app/program.h"
#include "store/settings_store.h"
#include "support/fake_clock.h"
#include "support/loopback.h"
#include "support/scripted_operator.h"
#include "support/settings_by_key.h"
#include "support/temp_folder.h"

namespace corvane {

class ProgramTest : public testing::Test {
protected:
    ProgramTest() {
        Preset(QStringLiteral("TcpPortA"), QString::number(FreePort()));
        Preset(QStringLiteral("TcpPortB"), QString::number(FreePort()));
        Preset(QStringLiteral("WebPort"), QString::number(FreePort()));
    }

    void Preset(const QString& key, const QString& value, const QString& section = kStartupSection) {
        SettingsStore store(SettingsFile());
        KeepByKey(store, key, value, section);
    }

    /// Builds and starts the program, after one that ran before has gone. The first one makes the database.
    Program& Start() {
        Options options{.dataFolder = folder.Path(), .settingsFile = SettingsFile()};
        program_.reset();
        program_ = std::make_unique<Program>(options, clock);
        Built(*program_);
        ScriptedOperator op;
        const QString database = folder.Path(QStringLiteral("vrq1.db3"));
        if (!QFile::exists(database)) {
            op.WillAnswer("Database Not Found", Answer::No);
            op.WillEnter("Enter a database filename", database);
            op.WillAnswer("set it as the default system file", Answer::Yes);
            op.WillAnswer("Would you like to proceed?", Answer::Yes);
        }
        const Outcome started = QCoro::waitFor(program_->Start(op));
        EXPECT_TRUE(started) << started.Error().toStdString();
        return *program_;
    }

    /// What a test adds to the program before it starts.
    virtual void Built(Program&) {}

    [[nodiscard]] QString SettingsFile() const { return folder.Path(QStringLiteral("corvane.ini")); }

    TempFolder folder;
    FakeClock clock;

private:
    std::unique_ptr<Program> program_;
};

}  // namespace corvane
