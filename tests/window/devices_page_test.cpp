#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTableWidget>

#include <gmock/gmock.h>

#include "store/rows.h"
#include "support/packets.h"
#include "support/settings_by_key.h"
#include "window/person.h"
#include "window/stand_in_browser.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

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

    void Choose(const QString& name, int index) { Find<QComboBox>(kPage, name)->setCurrentIndex(index); }

    std::string Stored(const std::string& column) {
        const auto rows =
            program_->database.Run("SELECT " + column + " FROM applicationinfo WHERE id = '1'").rows;
        return rows.at(0).at(0).value_or("NULL");
    }

    /// Puts that text into a column of the row of Device A.
    void Put(const std::string& column, const std::string& text) {
        Execute(folder.Path(u"vrq1.db3"_s).toStdString(),
                "UPDATE applicationinfo SET " + column + " = '" + text + "' WHERE id = '1'");
    }

    /// What the row of a device says, the connection as its list shows it.
    std::string RowOf(int row) {
        const auto* devices = Find<QTableWidget>(kPage, u"Devices"_s);
        QStringList texts;
        for (int column = 0; column < 5; ++column) {
            const auto* choice = qobject_cast<QComboBox*>(devices->cellWidget(row, column));
            texts += choice != nullptr ? choice->currentText() : devices->item(row, column)->text();
        }
        return texts.join(u" | "_s).toStdString();
    }

    QGroupBox* Group(const QString& title) {
        for (QGroupBox* box : window_->findChild<QWidget*>(kPage)->findChildren<QGroupBox*>())
            if (box->title() == title) return box;
        return nullptr;
    }

    /// What the box of that title shows, once a second has passed.
    std::string Of(const QString& title) {
        clock.AdvanceSeconds(1);
        return Seen(Group(title));
    }
};

TEST_F(DevicesPageTest, ADeviceIsBoundByHandAndPutOnALink) {
    Open(kPage);
    auto* devices = Find<QTableWidget>(kPage, u"Devices"_s);
    EXPECT_TRUE(Of(u"Channels of Device A"_s).starts_with("Label Comment Picture CH1 [] [] [] (...)"));
    devices->clearSelection();
    EXPECT_TRUE(Of(u"Channels"_s).starts_with("-Label -Comment -Picture -CH1 -[] -[] -[] -(...)"));
    EXPECT_TRUE(Of(u"Pulses"_s).starts_with("-o Count pulses"));
    for (const auto& [button, refusal] : {std::pair(u"Bind..."_s, "Select desired Unit."),
                                          std::pair(u"Find..."_s, "Select Device to be Found"),
                                          std::pair(u"Enter serial number..."_s, "Select desired Unit.")}) {
        Click(kPage, button);
        Through({{refusal}});
    }
    auto* quantity = Find<QSpinBox>(kPage, u"Number of devices"_s);
    quantity->setValue(3);
    EXPECT_EQ(KeptByKey(program_->settings, u"DeviceQTY"_s), u"3"_s);
    ASSERT_EQ(devices->rowCount(), 3);
    EXPECT_EQ(RowOf(2), "Device C | not bound |  | TCP Server A | no packet yet");
    for (const auto& [row, button, told] :
         {std::tuple(1, u"Bind..."_s, "This port is not Open or Connected"),
          std::tuple(2, u"Find..."_s, "not Open or Connected\n\nDevice \"C\" not found.")}) {
        devices->selectRow(row);
        Click(kPage, button);
        Through({{told}});
        EXPECT_EQ(program_->commands.TargetSlot(), row + 1) << "commands go to the one that is looked for";
    }
    devices->selectRow(0);
    Click(kPage, u"Enter serial number..."_s);
    Reply(u"999999"_s);
    Through({{"999999 is the virtual device and cannot be bound."}});
    program_->measurement.DisplayData(kStreamTcpA, PacketOf({.serialNumber = 1234}));
    EXPECT_EQ(Of(u"Devices"_s),
              "<TCP Server A> <TCP Server A> <TCP Server A> Heard, but bound to no device: 301234 (Bind...) "
              "(Find...) (Enter serial number...) Number of devices [3]");
    Click(kPage, u"Enter serial number..."_s);
    Reply(u"301234"_s);
    EXPECT_EQ(Stored("deviceaddress"), "301234");
    program_->measurement.DisplayData(kStreamTcpA, PacketOf({.serialNumber = 1234}));
    EXPECT_EQ(Of(u"Devices"_s),
              "<TCP Server A> <TCP Server A> <TCP Server A> (Bind...) (Find...) (Enter serial number...) "
              "Number of devices [3]");
    EXPECT_EQ(RowOf(0), "Device A | 301234 | VRQ-5810 | TCP Server A | on line, last packet 10:20:34");
    auto* link = Find<QComboBox>(kPage, u"Connection of Device C"_s);
    Q_EMIT link->activated(kStreamSerialB);
    EXPECT_EQ(KeptByKey(program_->settings, u"BindDeviceC"_s), u"3"_s);
    KeepByKey(program_->settings, u"BindDeviceC"_s, u"4"_s);
    clock.AdvanceSeconds(1);
    EXPECT_EQ(RowOf(2), "Device C | not bound |  | Serial Connection C | no packet yet");
    KeepByKey(program_->settings, u"DeviceQTY"_s, u"2"_s);
    clock.AdvanceSeconds(1);
    EXPECT_EQ(devices->rowCount(), 2);
    EXPECT_EQ(quantity->value(), 2);
}

TEST_F(DevicesPageTest, TheChannelsOfADeviceAreNamedDescribedAndPictured) {
    Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
    Open(kPage);
    auto* devices = Find<QTableWidget>(kPage, u"Devices"_s);
    Find<QSpinBox>(kPage, u"Number of devices"_s)->setValue(2);
    Put("ch1alias", " Oven ");
    Q_EMIT program_->databaseFiles.Adopted();
    EXPECT_EQ(Find<QLineEdit>(kPage, u"CH1 label"_s)->text(), u"Oven"_s);
    const QString picture = folder.Path(u"wide.png"_s);
    ASSERT_TRUE(QImage(64, 24, QImage::Format_RGB32).save(picture));
    const std::tuple<QString, QString, std::string, std::string> given[] = {
        {u"CH1 label"_s, u" Dad's \"workshop\" "_s, "ch1alias", "Dad's \"workshop\""},
        {u"AUX5 comment"_s, u"in the cellar"_s, "aux5desc", "in the cellar"},
        {u"CH2 picture"_s, picture, "ch2image", picture.toStdString()},
        {u"CH1 label"_s, u"\b"_s, "ch1alias", ""},
    };
    for (const auto& [entry, text, column, stored] : given) {
        Enter(kPage, entry, text);
        EXPECT_EQ(Stored(column), stored);
    }
    const auto shown = [this] {
        std::vector<QSize> sizes;
        for (const QLabel* label : window_->findChild<QWidget*>(kPage)->findChildren<QLabel*>())
            if (!label->pixmap(Qt::ReturnByValue).isNull())
                sizes.push_back(label->pixmap(Qt::ReturnByValue).size());
        return sizes;
    };
    EXPECT_THAT(shown(), testing::ElementsAre(QSize(32, 12))) << "all of it";
    Click(kPage, u"CH2: choose a picture"_s);
    const QString other = folder.Path(u"high.png"_s);
    ASSERT_TRUE(QImage(10, 48, QImage::Format_RGB32).save(other));
    EnterFile(other);
    EXPECT_EQ(Stored("ch2image"), other.toStdString());
    EXPECT_THAT(shown(), testing::ElementsAre(QSize(5, 24)));
    Click(kPage, u"CH2: choose a picture"_s);
    devices->selectRow(1);
    EnterFile(picture);
    EXPECT_EQ(Find<QLineEdit>(kPage, u"CH2 picture"_s)->text(), QString()) << "it was for the other device";
    EXPECT_THAT(shown(), testing::ElementsAre());
    auto* comment = Find<QLineEdit>(kPage, u"AUX5 comment"_s);
    QTest::keyClick(comment, Qt::Key_Return);
    EXPECT_EQ(Box(), nullptr) << "nothing was entered";
    Enter(kPage, u"AUX5 comment"_s, u"lost?"_s);
    Through({{"This device has no row in the database yet."}});
    QTest::keyClick(comment, Qt::Key_Return);
    EXPECT_EQ(Box(), nullptr) << "it is said once";
    devices->selectRow(0);
    EXPECT_EQ(comment->text(), u"in the cellar"_s);
}

TEST_F(DevicesPageTest, TheGroupsAreChosenFromTheChannelsOfTheDevicesInUse) {
    Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
    Open(kPage);
    Find<QSpinBox>(kPage, u"Number of devices"_s)->setValue(2);
    Put("aux2alias", " Oven ");
    const auto choose = [this](const QStringList& before, const QStringList& channels, auto button) {
        Click(kPage, u"Main Panel: Choose"_s);
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        ASSERT_NE(dialog, nullptr);
        EXPECT_EQ(dialog->windowTitle(), u"Main Panel"_s);
        const auto boxes = dialog->findChildren<QCheckBox*>();
        ASSERT_EQ(boxes.size(), 14);
        EXPECT_EQ(boxes[2]->text(), u"AUX1"_s);
        EXPECT_EQ(boxes[3]->text(), u"AUX2  Oven"_s);
        EXPECT_EQ(boxes[13]->accessibleName(), u"B:AUX5"_s);
        for (QCheckBox* box : boxes) {
            EXPECT_EQ(box->isChecked(), before.contains(box->accessibleName()));
            box->setChecked(channels.contains(box->accessibleName()));
        }
        QTest::mouseClick(dialog->findChild<QDialogButtonBox*>()->button(button), Qt::LeftButton);
    };
    const QStringList chosen{u"A:CH1"_s, u"B:AUX2"_s};
    choose({}, {}, QDialogButtonBox::Ok);
    Through({{"No Device and Device Channel has been selected. Make selection and try again"}});
    choose({}, chosen, QDialogButtonBox::Ok);
    choose(chosen, {}, QDialogButtonBox::Cancel);
    EXPECT_EQ(program_->channelGroups.TextsOf(ChannelGroup::MainPanel), chosen);
    EXPECT_TRUE(Of(u"Groups of channels"_s).starts_with("Main Panel A:CH1, B:AUX2 "));
    Click(kPage, u"Main Panel: Clear"_s);
    EXPECT_TRUE(program_->channelGroups.Empty());
    EXPECT_TRUE(Of(u"Groups of channels"_s).starts_with("Main Panel None "));
}

TEST_F(DevicesPageTest, TheVirtualDeviceIsMadeAndTheInstallationChangedOnYesOnly) {
    Open(kPage);
    Click(kPage, u"Create virtual device..."_s);
    Through({{"No Device and Device Channel has been selected. Make selection and try again"}});
    ASSERT_TRUE(program_->channelGroups.Choose(ChannelGroup::MainPanel, {u"A:CH1"_s}));
    Click(kPage, u"Create virtual device..."_s);
    Through({{"This will created a new group of seven channels representing:", Yes}});
    EXPECT_TRUE(program_->virtualDevice.Exists());
    EXPECT_NE(Find<QLabel>(kPage, u"The virtual device 999999 is recorded."_s), nullptr) << "at once";

    const char* const sure = "Are you sure you wish to change the \"Installation Type\"?";
    auto* net = Find<QRadioButton>(kPage, u"NET Metering System Selling Excess Power to thePower Company"_s);
    net->click();
    EXPECT_FALSE(net->isChecked()) << "nobody has agreed yet";
    net->click();
    Through({{"The command Installation Type is still running; try again when it has ended."}, {sure, No}});
    EXPECT_EQ(program_->virtualDevice.Type(), InstallationType::ConsumptionOnly);
    net->click();
    Through({{sure, Yes},
             {"Warning! If activating this option", Yes},
             {"Your solar generated power will be plotted as a positive amount"}});
    EXPECT_TRUE(net->isChecked());
    Click(kPage, u"Delete virtual device..."_s);
    Through({{"Are you sure you want to delete the virtual channel and all of its records?", Yes}});
    EXPECT_FALSE(program_->virtualDevice.Exists());

    EXPECT_EQ(Of(u"Installation Type"_s),
              "o Standard Residential Monitoring Setup x NET Metering System Selling Excess Power to "
              "thePower Company o Show the main panel as a bi-polar value o Show the mean of the main "
              "panel's two currents x Calculate OTHER (Un-monitored Loads) o Show twice the volts measured o "
              "Take every VRQ-5806 packet for one of serial number 999998 There is no virtual device. "
              "(Create virtual device...) (Delete virtual device...)");
    const QStringList keys{u"NegGen"_s, u"CurrentAvg"_s, u"Other"_s, u"VoltX2"_s, u"VRQ5806"_s};
    const auto switches = Group(u"Installation Type"_s)->findChildren<QCheckBox*>();
    for (int i = 0; i < keys.size(); ++i) {
        switches[i]->click();
        EXPECT_EQ(KeptByKey(program_->settings, keys[i]), i == 2 ? u"False"_s : u"True"_s);
    }
    KeepByKey(program_->settings, u"NegGen"_s, false);  // as from elsewhere
    EXPECT_EQ(QString::fromStdString(Of(u"Installation Type"_s)).count(u"x "_s), 4)
        << "net, and all but the first and the third";
}

TEST_F(DevicesPageTest, PulsesAreSetUpAndPresetOnlyWithProperEntries) {
    Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
    Open(kPage);
    Find<QSpinBox>(kPage, u"Number of devices"_s)->setValue(2);
    const auto setUp = [this](const std::vector<Step>& steps = {}) {
        Click(kPage, u"Set up"_s);
        Through(steps);
    };
    auto* enabled = Find<QCheckBox>(kPage, u"Count pulses of a flow or utility meter"_s);
    enabled->click();
    Through({{"Source device must be selected."}});
    setUp({{"Pulses are counted on AUX1, AUX2, AUX3 or AUX4."}});
    Choose(u"Pulses: Source"_s, 4);
    setUp({{"The flow type is 0 (CuFt), 1 (m(3)), 2 (Gals) or 3 (Litres)."}});
    Choose(u"Pulses: Unit"_s, 3);
    Choose(u"Pulses: Rate"_s, 1);
    Enter(kPage, u"One Pulse Equals:"_s, u"0"_s);
    setUp({{"One Pulse Equals: a number above 0 is needed."}});
    EXPECT_EQ(Of(u"Pulses of Device A"_s),
              "o Count pulses of a flow or utility meter <AUX4> <Gallons> <per hour> [0] (Set up) (Preset "
              "total...) -(Flow page)")
        << "what was chosen stays";
    Enter(kPage, u"One Pulse Equals:"_s, u"00.25"_s);
    setUp();
    auto* devices = Find<QTableWidget>(kPage, u"Devices"_s);
    devices->selectRow(1);
    EXPECT_EQ(Of(u"Pulses of Device B"_s),
              "o Count pulses of a flow or utility meter <None> <Undefined> <per minute> [1] (Set up) "
              "(Preset total...) -(Flow page)");
    devices->selectRow(0);
    EXPECT_EQ(Of(u"Pulses of Device A"_s),
              "o Count pulses of a flow or utility meter <AUX4> <Gallons> <per hour> [0.25] (Set up) (Preset "
              "total...) (Flow page)");
    const PulseSetup& setup = program_->pulses.Setup(1);
    enabled->click();
    EXPECT_FALSE(enabled->isChecked()) << "nobody has agreed yet";
    Through({{"Are you sure you wish to enable pulse counting for this device?", Yes}});
    EXPECT_TRUE(enabled->isChecked());
    const auto preset = [this](const QString& text, const std::vector<Step>& steps = {}) {
        Click(kPage, u"Preset total..."_s);
        Reply(text);
        Through(steps);
    };
    preset(u"abc"_s, {{"You must use a numeric value"}});
    preset(u"12"_s, {{"At least one pulse must be received after starting this program before"}});
    for (const auto& [seconds, count] : {std::pair(10U, 100U), std::pair(70U, 140U)})
        program_->measurement.DisplayData(
            kStreamTcpA, PacketOf({.serialNumber = 1234, .seconds = seconds, .aux = {0, 0, 0, count, 0}}));
    EXPECT_TRUE(Of(u"Pulses of Device A"_s).ends_with("Flow 600.00 GPH, 35.00 Gals"));
    preset(u"12"_s);
    EXPECT_NE(Find<QLabel>(kPage, u"Flow 600.00 GPH, 12.00 Gals"_s), nullptr) << "at once";
    enabled->click();
    Through({{"Are you sure you wish to disable pulse counting for this device?", No}});
    EXPECT_TRUE(setup.enabled);
    EXPECT_TRUE(enabled->isChecked());
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
    Through({{"No browser could be started. The page is at http://"}});
    KeepByKey(program_->settings, u"WebEnable"_s, u"False"_s);
    ASSERT_TRUE(SpinUntil([this] { return !program_->webServer.Serving(); }));
    Click(kPage, u"Flow page"_s);
    Through({{"The pages are not served now."}});
}

}  // namespace
}  // namespace corvane
