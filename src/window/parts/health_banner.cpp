#include "window/parts/health_banner.h"

#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

#include "app/health.h"
#include "window/parts/state_line.h"

namespace corvane {

using namespace Qt::StringLiterals;

HealthBanner::HealthBanner(const Health& health) : health_(health) {
    setAccessibleName(u"Health"_s);
    column_ = new QVBoxLayout(this);
    more_ = new QPushButton;
    more_->setCheckable(true);
    column_->addWidget(more_, 0, Qt::AlignLeft);
    connect(more_, &QPushButton::toggled, this, &HealthBanner::Refresh);
    connect(&health, &Health::Changed, this, &HealthBanner::Refresh);
    Refresh();
}

void HealthBanner::Refresh() {
    const auto& states = health_.States();
    const auto firstInfo = std::ranges::find(states, Severity::Info,
                                             [](const HealthState& state) { return state.finding.severity; });
    const auto count = static_cast<std::size_t>(firstInfo - states.begin());
    const std::size_t shown = more_->isChecked() ? count : std::min(count, kFew);
    for (; lines_.size() > shown; lines_.pop_back())
        delete lines_.back();
    while (lines_.size() < shown) {
        lines_.push_back(new StateLine(u"Health"_s, 0));
        column_->insertWidget(static_cast<int>(lines_.size()) - 1, lines_.back());
        lines_.back()->show();
    }
    for (std::size_t i = 0; i < shown; ++i) {
        const Finding& finding = states[i].finding;
        lines_[i]->Show(
            finding.severity == Severity::Error ? StateLine::Light::Fault : StateLine::Light::Waiting,
            finding.text, finding.remedy);
    }
    more_->setText(more_->isChecked() ? u"Fewer"_s : u"%1 more"_s.arg(count - shown));
    more_->setVisible(count > kFew);
    setVisible(count > 0);
}

}  // namespace corvane
