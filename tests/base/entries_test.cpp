// What people type, and what becomes of it.
#include <gtest/gtest.h>

#include "base/channels.h"
#include "base/date_entry.h"
#include "base/number_entry.h"
#include "base/operator.h"
#include "base/setting.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST(Entries, StandForADateANumberAChannelOrAnAnswer) {
    const struct {
        const char* text;
        const char* date;
        double number;  ///< NaN: none
        int channel;    ///< -1: none
        int answer;
    } cases[] = {
        {"2026-3-2", "2026-03-02", NAN, -1, -1},
        {" 2026-03-02 ", "2026-03-02", NAN, -1, -1},
        {"26-3-2", "", NAN, -1, -1},
        {"2026-02-29", "", NAN, -1, -1},
        {"2024-02-29", "2024-02-29", NAN, -1, -1},
        {"2026-3", "", NAN, -1, -1},
        {" -1.5 ", "", -1.5, -1, -1},
        {"1e3", "", 1000, -1, -1},
        {"inf", "", NAN, -1, -1},
        {"1e999", "", NAN, -1, -1},
        {"12 W", "", NAN, -1, -1},
        {"", "", NAN, -1, -1},
        {"CH1", "", NAN, 0, -1},
        {"cH2", "", NAN, 1, -1},
        {"aux1", "", NAN, 2, -1},
        {"AUX5", "", NAN, 6, -1},
        {"aux6", "", NAN, -1, -1},
        {"CH", "", NAN, -1, -1},
        {"CH11", "", NAN, -1, -1},
        {"yes", "", NAN, -1, 0},
        {"no", "", NAN, -1, 1},
        {"cancel", "", NAN, -1, 2},
        {"Yes", "", NAN, -1, -1},
    };
    for (const auto& c : cases) {
        const QString text = QString::fromLatin1(c.text);
        const auto date = ProperDate(text);
        EXPECT_EQ(date ? DateText(*date) : QString(), QString::fromLatin1(c.date)) << c.text;
        EXPECT_EQ(NumberEntry(text).has_value(), !std::isnan(c.number)) << c.text;
        if (!std::isnan(c.number)) {
            EXPECT_EQ(NumberEntry(text), c.number);
        }
        EXPECT_EQ(static_cast<int>(FindChannel(c.text).value_or(-1)), c.channel) << c.text;
        const auto answer = ParseAnswer(text);
        EXPECT_EQ(answer ? static_cast<int>(*answer) : -1, c.answer) << c.text;
        EXPECT_TRUE(!answer || AnswerText(*answer) == text);
    }
    EXPECT_EQ(ChannelColumns("kwh"), "ch1kwh,ch2kwh,aux1kwh,aux2kwh,aux3kwh,aux4kwh,aux5kwh");
}

TEST(Entries, OfSettingsAreCheckedAndKeptInOneForm) {
    static constexpr Setting kSwitch{.key = "Lamp", .kind = SettingKind::Switch};
    static constexpr Setting kNumber{.key = "Delay#", .kind = SettingKind::Number, .least = -2, .most = 60};
    static constexpr Setting kChoice{
        .key = "Side#", .members = "1A 1P 2-4 B-C", .kind = SettingKind::Choice, .choices = "left right"};
    static constexpr Setting kOwn{.key = "Own#", .check = [](QString& text, const SettingValues&) {
                                      text += u'!';
                                      return text == "ok!"_L1 ? Outcome::Success()
                                                              : Outcome::Failure(u"No # here."_s);
                                  }};
    static constexpr Setting kText{.key = "Text"};
    const struct NoValues final : SettingValues {
        [[nodiscard]] QString Value(const Setting&, const SettingPlace&) const override { return {}; }
    } values;
    const char* const switchError = "Lamp is True or False.";
    const char* const numberError = "DelayA is a whole number from -2 to 60.";
    const struct {
        const Setting& setting;
        const char* member;
        const char* text;
        const char* kept;
        const char* error;
    } cases[] = {
        {kSwitch, "", " tRUE", "True", ""},
        {kSwitch, "", "FALSE ", "False", ""},
        {kSwitch, "", "yes", "yes", switchError},
        {kNumber, "A", "-2", "-2", ""},
        {kNumber, "A", " 6e1 ", "60", ""},
        {kNumber, "A", "-3", "-3", numberError},
        {kNumber, "A", "61", "61", numberError},
        {kNumber, "A", "1.5", "1.5", numberError},
        {kNumber, "A", "x", "x", numberError},
        {kChoice, "1A", "left", "left", ""},
        {kChoice, "1A", "Left", "Left", "Side1A is left or right."},
        {kOwn, "7", "ok", "ok!", ""},
        {kOwn, "7", "no", "no!", "No 7 here."},
        {kOwn, "", "no", "no!", "No # here."},
        {kText, "", " any ", " any ", ""},
    };
    for (const auto& c : cases) {
        QString text = QString::fromLatin1(c.text);
        const Outcome checked =
            CheckSetting(c.setting, text, values, {.member = QString::fromLatin1(c.member)});
        EXPECT_EQ(text, QString::fromLatin1(c.kept)) << c.text;
        EXPECT_EQ(checked.Error(), QString::fromLatin1(c.error)) << c.text;
    }
    EXPECT_EQ(SettingMembers(kChoice),
              (QStringList{u"1A"_s, u"1P"_s, u"2"_s, u"3"_s, u"4"_s, u"B"_s, u"C"_s}));
    EXPECT_EQ(SettingMembers(kText), QStringList{QString()});
    EXPECT_TRUE(IsKeyOf(kChoice, u"sideb"_s) && IsKeyOf(kText, u"TEXT"_s));
    EXPECT_FALSE(IsKeyOf(kChoice, u"Side5"_s) || IsKeyOf(kChoice, u"Side"_s));
}

}  // namespace
}  // namespace corvane
