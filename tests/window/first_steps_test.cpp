#include "window/first_steps.h"

#include <QListWidget>
#include <QRadioButton>

#include <gmock/gmock.h>

#include "store/channel_labels.h"
#include "support/packets.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST_F(WindowTest, FirstStepsLeadFromAMonitorThatIsHeardToNamedChannels) {
    Preset(u"FirstDeployment"_s, u"True"_s);
    MainWindow& window = Open(u"database"_s);
    auto* steps = window.findChild<FirstSteps*>();
    ASSERT_NE(steps, nullptr) << "they are offered where no monitor is known";
    const auto next = [steps] { QTest::mouseClick(steps->button(QWizard::NextButton), Qt::LeftButton); };
    next();
    next();
    EXPECT_EQ(steps->currentId(), 1) << "nothing was heard yet";
    for (const std::uint8_t byte : PacketOf({.serialNumber = 1234}))
        program_->framer.ProcessByte(kStreamTcpA, byte);
    clock.AdvanceSeconds(1);
    auto* heard = steps->findChild<QListWidget*>();
    ASSERT_EQ(heard->count(), 1);
    const QString serial = heard->item(0)->text();
    next();
    ASSERT_EQ(steps->currentId(), 2);
    for (QLineEdit* entry : steps->findChildren<QLineEdit*>()) {
        if (entry->accessibleName() == u"AUX2"_s) entry->setText(u"Anna's kettle"_s);
    }
    next();
    EXPECT_EQ(steps->currentId(), 3);
    QTest::mouseClick(steps->button(QWizard::FinishButton), Qt::LeftButton);
    EXPECT_EQ(program_->deviceSlots.Bound(1), serial);
    EXPECT_EQ(ReadChannelLabels(program_->database)[1][3], u"Anna's kettle"_s);
    EXPECT_FALSE(FirstSteps::AreDue(program_->deviceSlots, program_->settings));
    EXPECT_TRUE(program_->measurement.UnboundSerials().empty());
}

}  // namespace
}  // namespace corvane
