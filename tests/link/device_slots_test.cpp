#include "link/device_slots.h"

#include <QCoroTask>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "store/capture_database.h"
#include "store/rows.h"
#include "store/schema.h"
#include "store/settings_store.h"
#include "support/packets.h"
#include "support/scripted_operator.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST(SlotLetters, AreAToFEitherWay) {
    for (int slot = 1; slot <= 6; ++slot) {
        const QString letter = u"ABCDEF"_s.sliced(slot - 1, 1);
        EXPECT_EQ(SlotLetter(slot), letter);
        EXPECT_EQ(SlotOfLetter(letter), slot);
        EXPECT_EQ(SlotOfLetter(letter.toLower()), slot);
    }
    for (const char* other : {"", "G", "@", "AB", "1"})
        EXPECT_EQ(SlotOfLetter(QString::fromLatin1(other)), std::nullopt) << other;
}

class DeviceSlotsTest : public testing::Test {
protected:
    DeviceSlotsTest() { EXPECT_TRUE(CreateTables(path_)); }

    /// Binds as the settings file does; sections are counted from 0.
    void Bind(int slot, const QString& text) {
        settings_.SaveSetting(u"DevSerial"_s, text, QString::number(slot - 1));
    }

    /// Types `entered` at the prompt for `slot`; the text of what went wrong.
    std::string Enter(int slot, std::optional<QString> entered) {
        ScriptedOperator op;
        op.WillEnter(
            "Enter the energy monitor's serial number in the box. To clear the current value, hit space-bar "
            "to enter a space.",
            std::move(entered));
        return QCoro::waitFor(slots_.EnterSerial(slot, op)).Error().toStdString();
    }

    [[nodiscard]] std::string Saved(int slot) const {
        return settings_.GetSetting(u"DevSerial"_s, u"none"_s, QString::number(slot - 1)).toStdString();
    }
    [[nodiscard]] std::vector<std::string> Addresses() const {
        return Rows(path_, "SELECT id, deviceaddress, ch1alias FROM applicationinfo ORDER BY id");
    }

    TempFolder folder_;
    SettingsStore settings_{folder_.Path(u"settings.ini"_s)};
    const std::string path_ = folder_.Path(u"capture.db3"_s).toStdString();
    CaptureDatabase database_{path_};
    DeviceSlots slots_{settings_, database_};
};

TEST_F(DeviceSlotsTest, NothingIsChosenWhereNothingIsBound) {
    for (const char* text : {"301234", "999998", "000000", "999999"})
        EXPECT_EQ(slots_.Choose(text), kNoSlot) << text;
}

TEST_F(DeviceSlotsTest, ChoosesTheLastSlotThatIsBoundToTheText) {
    Bind(1, u"100001"_s);
    Bind(2, u"301234"_s);
    Bind(5, u" 301234 "_s);
    Bind(6, u"600006"_s);
    Bind(7, u"700007"_s);  // there is no such slot
    const struct {
        const char* text;
        int slot;
    } cases[] = {
        {"100001", 1},      {"301234", 5},      {"600006", 6},        {"700007", kNoSlot},
        {"30123", kNoSlot}, {"01234", kNoSlot}, {"0301234", kNoSlot},
    };
    for (const auto& c : cases)
        EXPECT_EQ(slots_.Choose(c.text), c.slot) << c.text;
    EXPECT_EQ(slots_.Bound(5), u"301234"_s);
    EXPECT_EQ(slots_.Bound(3), u""_s);
    Bind(5, u""_s);
    EXPECT_EQ(slots_.Choose("301234"), 2);
}

TEST_F(DeviceSlotsTest, BindingsOfAnEarlierRunAreInForce) {
    Bind(4, u"301234"_s);
    const DeviceSlots later(settings_, database_);
    EXPECT_EQ(later.Choose("301234"), 4);
}

TEST_F(DeviceSlotsTest, TheSingleTwoChannelMonitorIsRoutedByAFixedText) {
    const Bytes twoChannel = PacketOf({.model = Model::TwoChannel});
    const Bytes fiveChannel = PacketOf({.model = Model::FiveChannel});
    const struct {
        const char* setting;
        const char* text;
    } cases[] = {{nullptr, "301234"}, {"0", "301234"}, {"1", "999998"}, {"False", "301234"}};
    for (const auto& c : cases) {
        if (c.setting != nullptr) settings_.SaveSetting(u"VRQ5806"_s, QString::fromLatin1(c.setting));
        EXPECT_EQ(slots_.RoutingText(DecodePacket(0, twoChannel)), c.text);
        EXPECT_EQ(slots_.RoutingText(DecodePacket(0, fiveChannel)), "301234");
    }
}

TEST_F(DeviceSlotsTest, ASerialNumberThatIsEnteredIsInForceAndSaved) {
    EXPECT_EQ(Enter(1, u" 301234 "_s), "");
    EXPECT_EQ(slots_.Choose("301234"), 1);
    EXPECT_EQ(Saved(1), "301234");
    EXPECT_EQ(Addresses(), (std::vector<std::string>{"1|301234|no label"}));
    EXPECT_EQ(Enter(1, u"25565535"_s), "");
    EXPECT_EQ(slots_.Choose("301234"), kNoSlot);
    EXPECT_EQ(Addresses(), (std::vector<std::string>{"1|25565535|no label"}));
}

TEST_F(DeviceSlotsTest, ABlankClearsAndNoAnswerChangesNothing) {
    Enter(1, u"301234"_s);
    EXPECT_EQ(Enter(1, std::nullopt), "");
    EXPECT_EQ(slots_.Choose("301234"), 1);
    EXPECT_EQ(Enter(1, u""_s), "");
    EXPECT_EQ(slots_.Choose("301234"), 1) << "an empty line is an entry given up";
    EXPECT_EQ(Enter(1, u" "_s), "");
    EXPECT_EQ(slots_.Choose("301234"), kNoSlot);
    EXPECT_EQ(Saved(1), "");
    EXPECT_EQ(Addresses(), (std::vector<std::string>{"1||no label"}));
}

TEST_F(DeviceSlotsTest, WhatIsNoSerialNumberIsRefusedAndTheOldOneStays) {
    Enter(1, u"301234"_s);
    for (const QString& text :
         {u"999999"_s, u"123456789"_s, u"30x234"_s, u"-301234"_s, u"30 1234"_s, u"\u0663\u0660\u0661"_s,
          u"1' OR '1'='1"_s, u"'; DROP TABLE applicationinfo; --"_s}) {
        EXPECT_NE(Enter(1, text), "") << text.toStdString();
        EXPECT_EQ(Saved(1), "301234") << text.toStdString();
        EXPECT_EQ(slots_.Choose("301234"), 1) << text.toStdString();
        EXPECT_EQ(Addresses(), (std::vector<std::string>{"1|301234|no label"})) << text.toStdString();
    }
}

TEST_F(DeviceSlotsTest, TheRowOfASlotIsAddedWhereItIsMissingAndOthersKeepTheirLabels) {
    Execute(path_, "UPDATE applicationinfo SET ch1alias = 'Kitchen' WHERE id = 1");
    EXPECT_EQ(Enter(4, u"404444"_s), "");
    EXPECT_EQ(Enter(1, u"101111"_s), "");
    EXPECT_EQ(Enter(4, u"405555"_s), "");
    EXPECT_EQ(Addresses(), (std::vector<std::string>{"1|101111|Kitchen", "4|405555|no label"}));
}

TEST_F(DeviceSlotsTest, ADatabaseThatIsLockedIsSaidAndTheSettingKept) {
    // In the first case the row cannot even be looked for, in the second it cannot be changed.
    for (const char* lock : {"BEGIN EXCLUSIVE", "BEGIN IMMEDIATE"}) {
        Bind(1, u""_s);
        const auto other = CaptureDatabase::OpenFile(path_, false);
        ASSERT_TRUE(other.GetTable(lock).Ok());
        const std::string error = Enter(1, u"301234"_s);
        ASSERT_TRUE(other.GetTable("COMMIT").Ok());
        EXPECT_NE(error.find("database is locked"), std::string::npos) << lock << ": " << error;
        EXPECT_EQ(slots_.Choose("301234"), 1) << lock;
        EXPECT_EQ(Saved(1), "301234") << lock;
        EXPECT_EQ(Addresses(), (std::vector<std::string>{"1||no label"})) << lock;
    }
}

}  // namespace
}  // namespace corvane
