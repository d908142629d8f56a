#include <QCheckBox>

#include <gmock/gmock.h>

#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::HasSubstr;

const QString kPage = u"forwarding"_s;

TEST_F(WindowTest, PortsAndAddressesOfTheForwardingAreCheckedAndTheKeyIsNeverShown) {
    Open(kPage);
    for (const auto& [entry, text, refusal] : std::vector<std::array<const char*, 3>>{
             {"Listening Server port", "65001", "Invalid Port value. Try again"},
             {"Listening Server port", "x", "Invalid Port value. Must be numeric"},
             {"TCP Server B port", "65535", "Invalid range for TCP/IP Port"},
             {"Remote address", "192.168.1.256", "Invalid IP Address"},
             {"Remote port", "080800", "Invalid Port Number"},
             {"Feed number", "one", "The \"FEED URL\" must be a numeric value."}}) {
        SCOPED_TRACE(text);
        Enter(kPage, QLatin1StringView(entry), QLatin1StringView(text));
        EXPECT_EQ(BoxText(), refusal);
        Answer(QMessageBox::Ok);
        EXPECT_NE(Find<QLineEdit>(kPage, QLatin1StringView(entry))->text(), QLatin1StringView(text));
    }
    Enter(kPage, u"Listening Server port"_s, QString::number(FreePort()));
    Click(kPage, u"Listening Server listen"_s);
    EXPECT_EQ(program_->forwarding.listeningServer.State(), SocketState::Listening);
    EXPECT_EQ(Find<QAbstractButton>(kPage, u"Listening Server listen"_s)->text(), u"Stop Listening"_s);

    Enter(kPage, u"API key"_s, u"secret"_s);
    EXPECT_TRUE(program_->feedUpload.HasKey());
    EXPECT_EQ(Find<QLineEdit>(kPage, u"API key"_s)->text(), u""_s);
    QTest::mouseClick(Find<QCheckBox>(kPage, u"Send to the feed"_s), Qt::LeftButton, {}, QPoint(8, 8));
    EXPECT_THAT(BoxText(), HasSubstr("Cannot enable. The KEY, FEED or TITLE is not valid."));
    Answer(QMessageBox::Ok);
    EXPECT_FALSE(Find<QCheckBox>(kPage, u"Send to the feed"_s)->isChecked());
}

}  // namespace
}  // namespace corvane
