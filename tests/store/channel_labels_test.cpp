#include "store/channel_labels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "store/rows.h"
#include "store/schema.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;

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
    EXPECT_THAT(ReadStoredLabels(database)[1], ElementsAre(u" Oven "_s, u""_s, u""_s, u" no label"_s,
                                                           u"no label yet"_s, u"no label"_s, u"no label"_s));
    const auto texts = ReadChannelTexts(database, 1);
    ASSERT_TRUE(texts.has_value());
    EXPECT_THAT(texts->at(0), ElementsAre(u"Oven"_s, u""_s, u"no label"_s));
    EXPECT_THAT(texts->at(6), ElementsAre(u""_s, u""_s, u" "_s));
}

}  // namespace
}  // namespace corvane
