#include "window/first_steps.h"

#include <QComboBox>
#include <QHostInfo>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>

#include <gmock/gmock.h>

#include "store/channel_labels.h"
#include "store/rows.h"
#include "support/packets.h"
#include "support/pty.h"
#include "window/actions.h"
#include "window/person.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

/// COM port 3 is there, and 5 with a product.
class TwoPorts final : public SerialPorts {
public:
    [[nodiscard]] PortState TestPort(const QString& path) override {
        return path == u"/nowhere/3"_s || path == u"/nowhere/5"_s ? PortState::Free : PortState::Missing;
    }
    [[nodiscard]] QString Product(const QString& path) override {
        return path == u"/nowhere/5"_s ? u"USB cable"_s : QString();
    }
};

class FirstStepsTest : public WindowTest {
protected:
    FirstStepsTest() { Preset(u"FirstDeployment"_s, u"True"_s); }

    void Press(QWizard::WizardButton button) { QTest::mouseClick(steps_->button(button), Qt::LeftButton); }

    void Hear(std::uint16_t number) {
        for (const std::uint8_t byte : PacketOf({.serialNumber = number}))
            program_->framer.ProcessByte(kStreamTcpA, byte);
    }

    [[nodiscard]] bool Says(const QString& text) const {
        for (const QLabel* label : steps_->findChildren<QLabel*>())
            if (label->isVisible() && label->text() == text) return true;
        return false;
    }

    void Choose(const QString& place) {
        for (QRadioButton* choice : steps_->findChildren<QRadioButton*>())
            if (choice->text() == place) return choice->click();
        ADD_FAILURE() << place.toStdString();
    }

    FirstSteps* steps_ = nullptr;
};

TEST_F(FirstStepsTest, TheyLeadFromAMonitorThatIsHeardToNamedChannels) {
    steps_ = Open(u"database"_s).findChild<FirstSteps*>();
    ASSERT_NE(steps_, nullptr) << "they are offered where no monitor is known";
    EXPECT_EQ(steps_->windowTitle(), u"First steps"_s);
    Press(QWizard::NextButton);
    EXPECT_TRUE(
        Says(u"Let the gateway connect to this computer, %1, port %2."_s.arg(QHostInfo::localHostName())
                 .arg(program_->tcpA.LocalPort())));
    EXPECT_FALSE(steps_->findChild<QComboBox*>()->isVisible()) << "no port is chosen for a gateway";
    Press(QWizard::NextButton);
    EXPECT_EQ(steps_->currentId(), 1);
    EXPECT_TRUE(Says(u"No monitor was heard yet. Is it switched on, and does it send packets?"_s));
    Hear(1234);
    clock.AdvanceSeconds(1);
    Hear(1235);
    clock.AdvanceSeconds(1);
    auto* heard = steps_->findChild<QListWidget*>();
    ASSERT_EQ(heard->count(), 2);
    EXPECT_EQ(heard->accessibleName(), u"Monitors heard"_s);
    EXPECT_EQ(heard->currentRow(), 0);
    heard->setCurrentRow(1);
    clock.AdvanceSeconds(1);
    EXPECT_EQ(heard->currentRow(), 1) << "what was chosen stays so";
    Press(QWizard::BackButton);
    Hear(1236);
    Press(QWizard::NextButton);
    EXPECT_EQ(heard->count(), 3) << "also what was heard meanwhile, at once";
    Press(QWizard::NextButton);
    ASSERT_EQ(steps_->currentId(), 2);
    for (QComboBox* choice : steps_->findChildren<QComboBox*>())
        if (choice->accessibleName() == u"Device"_s) choice->setCurrentIndex(1);
    for (QLineEdit* entry : steps_->findChildren<QLineEdit*>())
        if (entry->accessibleName() == u"AUX2"_s) entry->setText(u" Anna's kettle "_s);
    Execute(folder.Path(u"vrq1.db3"_s).toStdString(), "ALTER TABLE applicationinfo RENAME TO elsewhere");
    Press(QWizard::NextButton);
    Through({{"The serial number is in effect, but the database could not be told: no such table"}});
    EXPECT_EQ(steps_->currentId(), 2);
    Execute(folder.Path(u"vrq1.db3"_s).toStdString(), "ALTER TABLE elsewhere RENAME TO applicationinfo");
    Press(QWizard::NextButton);
    EXPECT_EQ(steps_->currentId(), 3);
    Press(QWizard::FinishButton);
    EXPECT_EQ(program_->deviceSlots.Bound(2), u"301235"_s);
    EXPECT_EQ(ReadChannelLabels(program_->database)[2][3], u"Anna's kettle"_s);
    EXPECT_FALSE(program_->settings.IsOn(kFirstStepsWanted));
}

TEST_F(FirstStepsTest, TheyAreOfferedOnceAndOnlyWhereNoMonitorIsBound) {
    Open().findChild<FirstSteps*>()->reject();
    EXPECT_FALSE(FirstSteps::AreDue(program_->deviceSlots, program_->settings));
    program_->settings.Save(kFirstStepsWanted, true);
    EXPECT_TRUE(FirstSteps::AreDue(program_->deviceSlots, program_->settings));
    program_->settings.Save(kDeviceSerial, u"301234"_s, {.slot = kSlots});
    EXPECT_FALSE(FirstSteps::AreDue(program_->deviceSlots, program_->settings));
}

TEST_F(FirstStepsTest, ASerialPortIsChosenFromThoseThatAreThere) {
    for (int number = 1; number <= kComPorts; ++number)
        Preset(u"ComDevice%1"_s.arg(number), u"/nowhere/%1"_s.arg(number));
    Open().findChild<FirstSteps*>()->reject();
    TwoPorts ports;
    Actions actions(window_->Person(), program_->runningCommand);
    FirstSteps steps({program_->tcpA, program_->serialB, ports, program_->measurement}, program_->deviceSlots,
                     program_->database, program_->userSettings, clock, actions, window_.get());
    steps_ = &steps;
    steps.show();
    Choose(u"On a serial or USB cable of this computer"_s);
    Press(QWizard::NextButton);
    EXPECT_TRUE(Says(u"Choose the port that the cable is on."_s));
    auto* port = steps.findChild<QComboBox*>();
    ASSERT_EQ(port->count(), 2);
    EXPECT_EQ(port->itemText(0), u"COM 3: /nowhere/3"_s);
    EXPECT_EQ(port->itemText(1), u"COM 5: /nowhere/5, USB cable"_s);
    port->setCurrentIndex(1);
    QPushButton* open = nullptr;
    for (QPushButton* button : steps.findChildren<QPushButton*>())
        if (button->text() == u"Open"_s) open = button;
    ASSERT_TRUE(open != nullptr && open->isVisible());
    open->click();
    Through({{"Error opening COM port: /nowhere/5 is not there"}});
    EXPECT_EQ(program_->settings.Value(kComPort, {.member = u"B"_s}), u"5"_s);
    EXPECT_FALSE(program_->settings.IsOn(kAutoOpen));
    const Pty cable;
    program_->settings.Save(kComDevice, cable.Path(), {.member = u"5"_s});
    open->click();
    EXPECT_TRUE(SpinUntil([&] {
        clock.Advance(100);
        return program_->settings.IsOn(kAutoOpen);
    })) << "at the next start, too";
    EXPECT_TRUE(program_->serialB.IsOpen());

    for (const int number : {3, 5})
        program_->settings.Save(kComDevice, u"/nowhere/0"_s, {.member = QString::number(number)});
    Press(QWizard::BackButton);
    Press(QWizard::NextButton);
    EXPECT_TRUE(Says(u"No COM Port Found"_s));
    EXPECT_EQ(port->count(), 0);
    open->click();
    EXPECT_EQ(Box(), nullptr);
}

TEST_F(FirstStepsTest, TheDemoIsStartedAsAProgramOfItsOwn) {
    const QString mark = folder.Path(u"demo"_s);
    qputenv("CORVANE_TEST_DEMO", mark.toUtf8());
    steps_ = Open().findChild<FirstSteps*>();
    Choose(u"Nowhere yet: just show me the demo"_s);
    Press(QWizard::NextButton);
    EXPECT_FALSE(steps_->isVisible());
    EXPECT_TRUE(SpinUntil([&] { return QFile::exists(mark); }));
}

}  // namespace
}  // namespace corvane
