#include "measure/ledger_entry.h"

#include <array>

namespace corvane {

namespace {

// In the order of the enumerations.
constexpr std::array kKindTexts = {"wrap", "reset", "seconds-wrap", "restart", "zeroed",
                                   "swap", "start", "stop",         "gap"};
constexpr std::array kJudgementTexts = {"sure", "likely", "doubtful"};

template <typename Value, std::size_t size>
std::optional<Value> Find(const std::array<const char*, size>& texts, const std::string& text) {
    for (std::size_t i = 0; i < size; ++i)
        if (text == texts[i]) return static_cast<Value>(i);
    return std::nullopt;
}

}  // namespace

const char* KindText(LedgerKind kind) {
    return kKindTexts.at(static_cast<std::size_t>(kind));
}

std::optional<LedgerKind> KindOf(const std::string& text) {
    return Find<LedgerKind>(kKindTexts, text);
}

const char* JudgementText(Judgement judgement) {
    return kJudgementTexts.at(static_cast<std::size_t>(judgement));
}

std::optional<Judgement> JudgementOf(const std::string& text) {
    return Find<Judgement>(kJudgementTexts, text);
}

}  // namespace corvane
