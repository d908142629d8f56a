// What is wrong with the program, above all pages: nothing where nothing is.
#pragma once

#include <QFrame>

#include <cstddef>
#include <vector>

class QPushButton;
class QVBoxLayout;

namespace corvane {

class Health;
class StateLine;

/// Shows warnings and errors, the worst first, each with what can be done about it: the first few, and all
/// once asked.
class HealthBanner final : public QFrame {
    Q_OBJECT

public:
    static constexpr std::size_t kFew = 2;

    /// `health` must outlive it.
    explicit HealthBanner(const Health& health);

private:
    void Refresh();

    const Health& health_;
    QVBoxLayout* column_;
    std::vector<StateLine*> lines_;
    QPushButton* more_;
};

}  // namespace corvane
