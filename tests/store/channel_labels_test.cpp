#include "store/channel_labels.h"

#include <gmock/gmock.h>

#include "store/rows.h"
#include "store/schema.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(ChannelLabels, AreEmptyWhereNobodyNamedTheChannelAndElseAsTheyWereStored) {
    const TempFolder folder;
    const std::string path = folder.Path(u"vrq1.db3"_s).toStdString();
    const CaptureDatabase database(path);
    ASSERT_TRUE(CreateTables(path));
    Execute(path,
            "UPDATE applicationinfo SET ch1alias = ' Oven ', ch2alias = '', aux1alias = NULL, "
            "aux2alias = ' no label', aux3alias = 'no label yet', ch1desc = 'no label'");
    EXPECT_THAT(ReadChannelLabels(database)[1],
                ElementsAre(u"Oven"_s, u""_s, u""_s, u""_s, u"no label yet"_s, u""_s, u""_s));
    EXPECT_THAT(ReadStoredLabels(database).value()[1],
                ElementsAre(u" Oven "_s, u""_s, u""_s, u" no label"_s, u"no label yet"_s, u"no label"_s,
                            u"no label"_s));
    const auto texts = ReadChannelTexts(database, 1);
    ASSERT_TRUE(texts.has_value());
    EXPECT_THAT(texts->at(0), ElementsAre(u"Oven"_s, u""_s, u"no label"_s));
    EXPECT_THAT(texts->at(6), ElementsAre(u""_s, u""_s, u" "_s));

    using enum ChannelText;
    EXPECT_EQ(SaveChannelText(database, 1, 6, Label, u"Joe's"_s).Error(), u""_s);
    EXPECT_EQ(SaveChannelText(database, 1, 6, Comment, u"loft"_s).Error(), u""_s);
    EXPECT_THAT(ReadChannelTexts(database, 1)->at(6), ElementsAre(u"Joe's"_s, u""_s, u"loft"_s));
    EXPECT_EQ(SaveChannelText(database, 2, 0, Label, u"x"_s).Error(),
              u"This device has no row in the database yet. Enter its serial number first."_s);
    EXPECT_THAT(ReadChannelTexts(database, 2).value()[0], ElementsAre(u""_s, u""_s, u""_s));
    const ChannelLabels labels = {u"a"_s, u"b"_s, u"c"_s, u"d"_s, u"e"_s, u"f"_s, u"it's"_s};
    EXPECT_EQ(SaveChannelLabels(database, 1, labels).Error(), u""_s);
    EXPECT_EQ(ReadStoredLabels(database).value()[1], labels);

    // What others made of the table: numbers of rows that are none, or none that a program can hold.
    Execute(path,
            "CREATE TABLE foreign_info AS SELECT * FROM applicationinfo; DROP TABLE applicationinfo; "
            "ALTER TABLE foreign_info RENAME TO applicationinfo; UPDATE applicationinfo SET id = 'one'; "
            "INSERT INTO applicationinfo(id) VALUES (99999999999), (NULL), (''), (2e300), ('x6')");
    EXPECT_THAT(ReadStoredLabels(database).value(), IsEmpty());
    Execute(path, "UPDATE applicationinfo SET id = '5', ch1alias = 'Pump' WHERE id = 'one'");
    EXPECT_THAT(ReadStoredLabels(database).value(), ElementsAre(Pair(5, Contains(u"Pump"_s))));

    Execute(path, "DROP TABLE applicationinfo");
    EXPECT_EQ(ReadStoredLabels(database), std::nullopt);
    EXPECT_EQ(SaveChannelText(database, 1, 0, Label, u"x"_s).Error(),
              u"The text could not be saved: no such table: applicationinfo"_s);
    EXPECT_EQ(SaveChannelLabels(database, 1, labels).Error(),
              u"The names could not be saved: no such table: applicationinfo"_s);
    EXPECT_EQ(ReadChannelTexts(database, 1), std::nullopt);
}

}  // namespace
}  // namespace corvane
