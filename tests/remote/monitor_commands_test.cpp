// The words of the commands to the monitors, as far as they need no monitor.
#include <optional>

#include "app/program_fixture.h"
#include "remote/command.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class MonitorWords : public ProgramTest {};

TEST_F(MonitorWords, SayWhatTheyDoOrWhatIsWrong) {
    Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
    Program& program = Start();
    const struct {
        const char* command;
        const char* answer;  ///< part of it
    } cases[] = {
        {"target", "Device A is the command target, on TCP Server A, command byte 252."},
        {"target G", "There are Device A to F."},
        {"target C",
         "Device A is the command target, on TCP Server A, command byte 252. It is the last of 1"},
        {"command-byte A x", "positions 0 to 3"},
        {"command-byte B 0", "Device B listens to command byte 252."},
        {"realtime on", "to start, to stop or to come once"},
        {"realtime once", "This port is not Open or Connected"},
        {"bind", "Select desired Unit."},
        {"find-device", "Select Device to be Found"},
        {"find-device A", "Device \"A\" not found."},
        {"memory 256", "from 0 to 255"},
        {"memory 1 x", "from 0 to 255"},
        {"monitor set trim 4 8", "More than seven CTs"},
        {"monitor set iv9 4", "There is: ct1 TYPE RANGE"},
        {"monitor history", "No settings are kept of 301234"},
        {"monitor diff", "no two read-outs"},
        {"monitor restore 2026", "This port is not Open or Connected"},
    };
    for (const auto& c : cases) {
        ScriptedOperator op;
        QStringList words = QString::fromLatin1(c.command).split(u' ');
        const QString name = words.takeFirst();
        const Command* command = FindCommand(name, words);
        ASSERT_NE(command, nullptr) << c.command;
        std::optional<Reply> reply;
        auto running = command->run(program, words, op).then([&](const Reply& answer) { reply = answer; });
        for (int i = 0; i < 100 && !reply.has_value(); ++i)
            clock.Advance(100);
        ASSERT_TRUE(reply.has_value()) << c.command;
        const QString text = reply->outcome ? reply->lines.join(u'\n') : reply->outcome.Error();
        EXPECT_TRUE(text.contains(QLatin1StringView(c.answer))) << c.command << ": " << text.toStdString();
    }
}

}  // namespace
}  // namespace corvane
