// A whole program in a folder of its own, on a clock that the test steps.
#pragma once

#include <QCoroTask>

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

    void Preset(const QString& key, const QString& value, const QString& section = SettingsStore::kStartup) {
        SettingsStore store(SettingsFile());
        KeepByKey(store, key, value, section);
    }

    /// Builds and starts the program; the database is made.
    Program& Start() {
        Options options{.dataFolder = folder.Path(), .settingsFile = SettingsFile()};
        program_ = std::make_unique<Program>(options, clock);
        ScriptedOperator op;
        op.WillAnswer("Database Not Found", Answer::No);
        op.WillEnter("Enter a database filename", folder.Path(QStringLiteral("vrq1.db3")));
        op.WillAnswer("set it as the default system file", Answer::Yes);
        op.WillAnswer("Would you like to proceed?", Answer::Yes);
        const Outcome started = QCoro::waitFor(program_->Start(op));
        EXPECT_TRUE(started) << started.Error().toStdString();
        return *program_;
    }

    [[nodiscard]] QString SettingsFile() const { return folder.Path(QStringLiteral("corvane.ini")); }

    TempFolder folder;
    FakeClock clock;

private:
    std::unique_ptr<Program> program_;
};

}  // namespace corvane
