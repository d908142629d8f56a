#include "link/device_slots.h"

#include <QCoroTask>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "store/capture_database.h"
#include "store/rows.h"
#include "store/schema.h"
#include "store/settings_store.h"
#include "support/scripted_operator.h"
#include "support/settings_by_key.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST(SlotLetters, AreAToFEitherWay) {
    EXPECT_EQ(SlotLetter(1) + SlotLetter(6), u"AF"_s);
    EXPECT_EQ(SlotOfLetter(u"A"_s), 1);
    EXPECT_EQ(SlotOfLetter(u"f"_s), 6);
    for (const char* other : {"", "G", "@", "AB"})
        EXPECT_EQ(SlotOfLetter(QString::fromLatin1(other)), std::nullopt) << other;
}

class DeviceSlotsTest : public testing::Test {
protected:
    DeviceSlotsTest() { EXPECT_TRUE(CreateTables(path_)); }

    /// Binds as the settings file does; sections are counted from 0.
    void Bind(int slot, const QString& text) {
        KeepByKey(settings_, u"DevSerial"_s, text, QString::number(slot - 1));
    }

    /// Types `entered` at the prompt for `slot`; the text of what went wrong.
    std::string Enter(int slot, std::optional<QString> entered) {
        ScriptedOperator op;
        op.WillEnter(
            "Enter the energy monitor's serial number in the box. To clear the current value, hit space-bar "
            "to enter a space.",
            std::move(entered));
        std::string error = QCoro::waitFor(slots_.EnterSerial(slot, op)).Error().toStdString();
        said_ = op.Messages();
        return error;
    }

    [[nodiscard]] std::string Saved(int slot) const {
        return KeptByKey(settings_, u"DevSerial"_s, u"none"_s, QString::number(slot - 1)).toStdString();
    }
    [[nodiscard]] std::vector<std::string> Addresses() const {
        return Rows(path_, "SELECT id, deviceaddress, ch1alias FROM applicationinfo ORDER BY id");
    }

    TempFolder folder_;
    SettingsStore settings_{folder_.Path(u"settings.ini"_s)};
    const std::string path_ = folder_.Path(u"capture.db3"_s).toStdString();
    CaptureDatabase database_{path_};
    DeviceSlots slots_{settings_, database_};
    std::vector<std::string> said_;
};

TEST_F(DeviceSlotsTest, ChoosesTheLastSlotThatIsBoundToTheText) {
    EXPECT_EQ(slots_.Choose("301234"), kNoSlot);
    Bind(1, u"100001"_s);
    Bind(2, u"301234"_s);
    Bind(5, u" 301234 "_s);
    Bind(6, u"600006"_s);
    Bind(7, u"700007"_s);  // there is no such slot
    const DeviceSlots later(settings_, database_);
    for (const DeviceSlots* slots : {&std::as_const(slots_), &later}) {
        for (const auto& [text, slot] : std::vector<std::pair<const char*, int>>{
                 {"100001", 1}, {"301234", 5}, {"600006", 6}, {"700007", kNoSlot}, {"01234", kNoSlot}})
            EXPECT_EQ(slots->Choose(text), slot) << text;
    }
    EXPECT_EQ(slots_.Bound(5), u"301234"_s);
    Bind(5, u""_s);
    EXPECT_EQ(slots_.Choose("301234"), 2);
}

TEST_F(DeviceSlotsTest, AnEnteredSerialNumberIsInForceAndSavedAndWhatIsNoneIsRefused) {
    const struct {
        std::optional<QString> entered;
        bool refused;
        const char* bound;  ///< afterwards
    } cases[] = {
        {u" 301234 "_s, false, "301234"},
        {u"999999"_s, true, "301234"},
        {u"123456789"_s, true, "301234"},
        {u"30x234"_s, true, "301234"},
        {u"-301234"_s, true, "301234"},
        {u"\u0663\u0660"_s, true, "301234"},
        {u"1' OR '1'='1"_s, true, "301234"},
        {std::nullopt, false, "301234"},
        {u""_s, false, "301234"},
        {u"25565535"_s, false, "25565535"},
        {u" "_s, false, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.entered.value_or(u"nothing"_s).toStdString());
        EXPECT_EQ(!Enter(1, c.entered).empty(), c.refused);
        EXPECT_EQ(slots_.Bound(1), QString::fromLatin1(c.bound));
        EXPECT_EQ(Saved(1), c.bound);
        EXPECT_EQ(Addresses(), std::vector{"1|" + std::string(c.bound) + "|no label"});
    }
}

TEST_F(DeviceSlotsTest, ItIsSaidWhereADeviceGetsNoPacketsOfWhatItIsBoundTo) {
    Bind(5, u"301234"_s);
    EXPECT_EQ(Enter(1, u"301234"_s), "");
    EXPECT_EQ(said_, std::vector<std::string>{
                         "Device E is bound to 301234, too, and gets its packets: of two devices with one "
                         "serial number, the last does. Clear that of Device E to have them at Device A."});
    EXPECT_EQ(Enter(6, u"301234"_s), "");
    EXPECT_TRUE(said_.empty()) << "it is the last";
    EXPECT_EQ(Enter(2, u"999998"_s), "");
    EXPECT_EQ(said_, std::vector<std::string>{"999998 is what every VRQ-5806 is called while the setting "
                                              "VRQ5806 is True, and it is not."});
    settings_.Save(kSingleTwoChannel, true);
    EXPECT_EQ(Enter(2, u"999998"_s), "");
    EXPECT_TRUE(said_.empty());
}

TEST_F(DeviceSlotsTest, TheRowOfASlotIsAddedWhereItIsMissingAndOthersKeepTheirLabels) {
    Execute(path_, "UPDATE applicationinfo SET ch1alias = 'Kitchen' WHERE id = 1");
    for (const auto& [slot, text] :
         std::vector<std::pair<int, QString>>{{4, u"404444"_s}, {1, u"101111"_s}, {4, u"405555"_s}})
        EXPECT_EQ(Enter(slot, text), "");
    EXPECT_EQ(Addresses(), (std::vector<std::string>{"1|101111|Kitchen", "4|405555|no label"}));
    EXPECT_EQ(slots_.InUse(), 4) << "up to the last that is bound";
    settings_.Save(kDeviceQuantity, 5);
    EXPECT_EQ(slots_.InUse(), 5);
}

TEST_F(DeviceSlotsTest, ADatabaseThatIsLockedIsSaidAndTheSettingKept) {
    // In the first case the row cannot even be looked for, in the second it cannot be changed.
    for (const char* lock : {"BEGIN EXCLUSIVE", "BEGIN IMMEDIATE"}) {
        Bind(1, u""_s);
        const auto other = CaptureDatabase::OpenFile(path_, false);
        ASSERT_TRUE(other.GetTable(lock).Ok());
        EXPECT_NE(Enter(1, u"301234"_s).find("database is locked"), std::string::npos) << lock;
        EXPECT_EQ(slots_.Choose("301234"), 1) << lock;
        EXPECT_EQ(Saved(1), "301234") << lock;
    }
}

}  // namespace
}  // namespace corvane
