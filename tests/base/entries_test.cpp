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

/// What a text stands for, by each of the ways to read one.
QString Meaning(const QString& text) {
    QStringList meanings;
    if (const auto date = ProperDate(text)) meanings.append(DateText(*date));
    if (const auto number = NumberEntry(text)) meanings.append(QString::number(*number));
    if (const auto channel = FindChannel(text.toStdString())) meanings.append(u"channel %1"_s.arg(*channel));
    if (const auto answer = ParseAnswer(text)) meanings.append(AnswerText(*answer) + u'!');
    return meanings.join(u", "_s);
}

TEST(Entries, StandForADateANumberAChannelOrAnAnswer) {
    for (const auto& [text, meaning] : {std::pair("2026-3-2", "2026-03-02"),
                                        {" 2026-03-02 ", "2026-03-02"},
                                        {" -1.5 ", "-1.5"},
                                        {"1e3", "1000"},
                                        {"CH1", "channel 0"},
                                        {"cH2", "channel 1"},
                                        {"aux1", "channel 2"},
                                        {"AUX5", "channel 6"},
                                        {"yes", "yes!"},
                                        {"no", "no!"},
                                        {"cancel", "cancel!"}})
        EXPECT_EQ(Meaning(QString::fromLatin1(text)), QString::fromLatin1(meaning)) << text;
    for (const char* text :
         {"", "26-3-2", "2026-02-29", "2026-3", "inf", "1e999", "12 W", "aux6", "CH", "CH11", "Yes"})
        EXPECT_EQ(Meaning(QString::fromLatin1(text)), QString()) << text;
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
        const char *member, *text, *kept, *error;
    } cases[] = {{kSwitch, "", " tRUE", "True", ""},
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
                 {kText, "", " any ", " any ", ""}};
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
