#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTableWidget>

#include <gmock/gmock.h>

#include "support/settings_by_key.h"
#include "window/stand_in_browser.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::HasSubstr;
using testing::StartsWith;

const QString kPage = u"devices"_s;

class DevicesPageTest : public WindowTest {
protected:
    /// Types into the question that is open, and agrees to it.
    void Reply(const QString& text) {
        QInputDialog* dialog = nullptr;
        ASSERT_TRUE(SpinUntil([&dialog, this] {
            dialog = window_->findChild<QInputDialog*>();
            return dialog != nullptr && dialog->isVisible();
        }));
        QTest::keyClicks(dialog->findChild<QLineEdit*>(), text);
        QTest::keyClick(dialog, Qt::Key_Return);
        EXPECT_TRUE(SpinUntil([this] { return window_->findChild<QInputDialog*>() == nullptr; }));
    }

    void Refused(const std::string& text) {
        EXPECT_THAT(BoxText(), HasSubstr(text));
        Answer(QMessageBox::Ok);
    }

    void Choose(const QString& name, int index) { Find<QComboBox>(kPage, name)->setCurrentIndex(index); }

    std::string Stored(const std::string& column) {
        const auto rows =
            program_->database.Run("SELECT " + column + " FROM applicationinfo WHERE id = '1'").rows;
        return rows.at(0).at(0).value_or("NULL");
    }
};

TEST_F(DevicesPageTest, ADeviceIsBoundByHandPutOnALinkAndNamed) {
    Open(kPage);
    auto* devices = Find<QTableWidget>(kPage, u"Devices"_s);
    devices->clearSelection();
    const std::pair<QString, std::string> refusedWithoutDevice[] = {
        {u"Bind..."_s, "Select desired Unit."},
        {u"Find..."_s, "Select Device to be Found"},
        {u"Enter serial number..."_s, "Select desired Unit."},
    };
    for (const auto& [button, refusal] : refusedWithoutDevice) {
        Click(kPage, button);
        Refused(refusal);
    }
    Find<QSpinBox>(kPage, u"Number of devices"_s)->setValue(3);
    ASSERT_EQ(devices->rowCount(), 3);
    devices->selectRow(0);
    Click(kPage, u"Enter serial number..."_s);
    Reply(u"999999"_s);
    Refused("999999 is the virtual device and cannot be bound.");
    Click(kPage, u"Enter serial number..."_s);
    Reply(u"301234"_s);
    EXPECT_EQ(devices->item(0, 1)->text(), u"301234"_s);
    EXPECT_EQ(Stored("deviceaddress"), "301234");
    auto* link = Find<QComboBox>(kPage, u"Connection of Device C"_s);
    link->setCurrentIndex(kStreamSerialB);
    Q_EMIT link->activated(kStreamSerialB);
    EXPECT_EQ(KeptByKey(program_->settings, u"BindDeviceC"_s), u"3"_s);

    Enter(kPage, u"CH1 label"_s, u"Dad's \"workshop\""_s);
    EXPECT_EQ(Stored("ch1alias"), "Dad's \"workshop\"");
    Enter(kPage, u"AUX5 comment"_s, u"in the cellar"_s);
    EXPECT_EQ(Stored("aux5desc"), "in the cellar");
    Enter(kPage, u"CH2 picture"_s, u"/home/pump.png"_s);
    EXPECT_EQ(Stored("ch2image"), "/home/pump.png");
    Enter(kPage, u"CH1 label"_s, u"\b"_s);
    EXPECT_EQ(Stored("ch1alias"), "") << "a name may be empty";
    devices->selectRow(1);
    EXPECT_EQ(Find<QLineEdit>(kPage, u"AUX5 comment"_s)->text(), QString());
    Enter(kPage, u"AUX5 comment"_s, u"lost?"_s);
    Refused("This device has no row in the database yet.");
    devices->selectRow(0);
    EXPECT_EQ(Find<QLineEdit>(kPage, u"AUX5 comment"_s)->text(), u"in the cellar"_s);
}

TEST_F(DevicesPageTest, GroupsAndTheVirtualDeviceAreChosenAndTheInstallationChangedOnYesOnly) {
    Open(kPage);
    const std::string none = "No Device and Device Channel has been selected. Make selection and try again";
    Click(kPage, u"Create virtual device..."_s);
    Refused(none);
    const auto chooseChannels = [this](const QStringList& channels) {
        Click(kPage, u"Main Panel: Choose"_s);
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        ASSERT_NE(dialog, nullptr);
        for (QCheckBox* box : dialog->findChildren<QCheckBox*>())
            box->setChecked(channels.contains(box->accessibleName()));
        QTest::mouseClick(dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok),
                          Qt::LeftButton);
    };
    chooseChannels({});
    Refused(none);
    chooseChannels({u"A:CH1"_s, u"A:AUX2"_s});
    EXPECT_EQ(program_->channelGroups.TextsOf(ChannelGroup::MainPanel),
              (QStringList{u"A:CH1"_s, u"A:AUX2"_s}));
    Click(kPage, u"Create virtual device..."_s);
    EXPECT_THAT(BoxText(), StartsWith("This will created a new group of seven channels representing:"));
    Answer(QMessageBox::Yes);
    EXPECT_TRUE(program_->virtualDevice.Exists());

    const QString net = u"NET Metering System Selling Excess Power to thePower Company"_s;
    auto* type = Find<QRadioButton>(kPage, net);
    type->click();
    EXPECT_THAT(BoxText(), StartsWith("Are you sure you wish to change the \"Installation Type\"?"));
    EXPECT_FALSE(type->isChecked()) << "nobody has agreed yet";
    Answer(QMessageBox::No);
    EXPECT_EQ(program_->virtualDevice.Type(), InstallationType::ConsumptionOnly);
    type->click();
    ASSERT_FALSE(BoxText().empty());
    Answer(QMessageBox::Yes);
    EXPECT_THAT(BoxText(), StartsWith("Warning! If activating this option"));
    Answer(QMessageBox::Yes);
    EXPECT_THAT(BoxText(), StartsWith("Your solar generated power will be plotted as a positive amount"));
    Answer(QMessageBox::Ok);
    EXPECT_TRUE(type->isChecked());

    Click(kPage, u"Main Panel: Clear"_s);
    EXPECT_TRUE(program_->channelGroups.Empty());
    Click(kPage, u"Delete virtual device..."_s);
    EXPECT_EQ(BoxText(), "Are you sure you want to delete the virtual channel and all of its records?");
    Answer(QMessageBox::Yes);
    EXPECT_FALSE(program_->virtualDevice.Exists());
    Find<QCheckBox>(kPage, u"Calculate OTHER (Un-monitored Loads)"_s)->click();
    EXPECT_EQ(KeptByKey(program_->settings, u"Other"_s), u"False"_s) << "it is on unless said otherwise";
}

TEST_F(DevicesPageTest, PulsesAreSetUpAndPresetOnlyWithProperEntries) {
    Open(kPage);
    auto* enabled = Find<QCheckBox>(kPage, u"Count pulses of a flow or utility meter"_s);
    enabled->click();
    Refused("Source device must be selected.");
    Click(kPage, u"Set up"_s);
    Refused("Pulses are counted on AUX1, AUX2, AUX3 or AUX4.");
    Choose(u"Pulses: Source"_s, 4);
    Click(kPage, u"Set up"_s);
    Refused("The flow type is 0 (CuFt), 1 (m(3)), 2 (Gals) or 3 (Litres).");
    Choose(u"Pulses: Unit"_s, 3);
    Choose(u"Pulses: Rate"_s, 1);
    Enter(kPage, u"One Pulse Equals:"_s, u"0"_s);
    Click(kPage, u"Set up"_s);
    Refused("One Pulse Equals: a number above 0 is needed.");
    Enter(kPage, u"One Pulse Equals:"_s, u"0.25"_s);
    Click(kPage, u"Set up"_s);
    const PulseSetup& setup = program_->pulses.Setup(1);
    EXPECT_STREQ(setup.Unit().rate, "GPH");
    EXPECT_STREQ(ChannelName(setup.channel.value()), "AUX4");
    EXPECT_EQ(setup.countK, 0.25);

    enabled->click();
    EXPECT_EQ(BoxText(), "Are you sure you wish to enable pulse counting for this device?");
    Answer(QMessageBox::Yes);
    EXPECT_TRUE(enabled->isChecked());
    Click(kPage, u"Preset total..."_s);
    Reply(u"abc"_s);
    Refused("You must use a numeric value");
    Click(kPage, u"Preset total..."_s);
    Reply(u"12"_s);
    Refused(
        "At least one pulse must be received after starting this program before this function can be used.");
    enabled->click();
    EXPECT_EQ(BoxText(), "Are you sure you wish to disable pulse counting for this device?");
    Answer(QMessageBox::No);
    EXPECT_TRUE(program_->pulses.Setup(1).enabled);
}

TEST_F(DevicesPageTest, TheFlowPageOpensInTheBrowserOnceThereIsAUnit) {
    Preset(u"WebToken"_s, u"0123456789abcdef"_s);
    Open(kPage);
    auto browser = std::make_unique<StandInBrowser>();
    auto* flowPage = Find<QPushButton>(kPage, u"Flow page"_s);
    EXPECT_FALSE(flowPage->isEnabled()) << "there is no unit, and no page of it";
    Choose(u"Pulses: Source"_s, 1);
    Choose(u"Pulses: Unit"_s, 3);
    Enter(kPage, u"One Pulse Equals:"_s, u"1"_s);
    Click(kPage, u"Set up"_s);
    Click(kPage, u"Flow page"_s);
    const QString page = program_->webServer.Location() + u"/flow_gpm.html"_s;
    EXPECT_EQ(program_->pulses.FlowPage(1), page);
    EXPECT_EQ(browser->opened, page + u"?token=0123456789abcdef"_s);
    browser.reset();
    Click(kPage, u"Flow page"_s);
    Refused("No browser could be started. The page is at " + page.toStdString());
    KeepByKey(program_->settings, u"WebEnable"_s, u"False"_s);
    ASSERT_TRUE(SpinUntil([this] { return !program_->webServer.Serving(); }));
    Click(kPage, u"Flow page"_s);
    Refused("The pages are not served now.");
}

}  // namespace
}  // namespace corvane
