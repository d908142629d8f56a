// Cases that stand in the text file "cases.txt" beside the test.
#pragma once

#include "support/data_lines.h"

namespace corvane {

/// The cases under "== `name`", one a line; "|" parts their columns.
inline std::vector<DataLine> CasesOf(const char* name) {
    return LinesOf(QStringLiteral(CORVANE_TESTS "/cases.txt"), name);
}

}  // namespace corvane
