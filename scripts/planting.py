"""Finds the places of a source where a single fault can be planted, and plants all of them behind a switch.

Sources are clang-formatted, and read as text: what then does not compile is told by the compiler and left out.
Everything is planted within its line, so that the lines of a compiler's messages are those of the source.
"""
import dataclasses
import re

SWITCH = '''#pragma once
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <cstdlib>
#include <type_traits>
namespace planted {
inline const int chosen = std::getenv("PLANTED_FAULT") ? std::atoi(std::getenv("PLANTED_FAULT")) : 0;
inline unsigned char* const reached = []() -> unsigned char* {
    const char* path = std::getenv("PLANTED_REACHED");
    if (path == nullptr) return nullptr;
    const int file = ::open(path, O_RDWR | O_CLOEXEC);
    void* map = ::mmap(nullptr, %d, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ::close(file);
    return map == MAP_FAILED ? nullptr : static_cast<unsigned char*>(map);
}();
inline bool Reach(int fault) {
    if (reached != nullptr) reached[fault] = 1;
    return fault == chosen;
}
constexpr bool Fault(int fault) { return std::is_constant_evaluated() ? false : Reach(fault); }
constexpr bool Not(int fault, bool condition) { return Fault(fault) != condition; }
constexpr int Step(int fault, int step) { return Fault(fault) ? step : 0; }
constexpr int Sign(int fault) { return Fault(fault) ? -1 : 1; }
constexpr int Scale(int fault) { return Fault(fault) ? 2 : 1; }
}  // namespace planted
'''
# The program puts the fault's number in the place of PLANTED_FAULT when it hands the page out.
PAGE_SWITCH = ('const planted = {fault: (n) => n === PLANTED_FAULT, not: (n, c) => planted.fault(n) ? !c : c, '
               'step: (n, x, by) => planted.fault(n) ? x + by : x, sign: (n, x) => planted.fault(n) ? -x : x, '
               'scale: (n) => planted.fault(n) ? 2 : 1}; ')


@dataclasses.dataclass
class Fault:
    number: int
    path: str
    line: int
    kind: str
    code: str
    edits: list  # of (start, end, text before, text after, length replaced before)
    name: str = ""  # of a constant

    @property
    def key(self):
        """The same for the same fault after lines were added elsewhere."""
        return f"{self.path}|{self.kind}|{self.code}"


def masked(text, page):
    """The text with the same places, but without comments, texts and preprocessor lines."""
    out = list(text)

    def blank(start, end, mark):
        for i in range(start, end):
            if out[i] != "\n":
                out[i] = mark

    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|R"\((?:.|\n)*?\)"|"(?:\\.|[^"\\\n])*"|`(?:\\.|[^`\\])*`'
                         r"|(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])+'|(?<=u)'(?:\\.|[^'\\\n])+'|^[ \t]*#(?:\\\n|[^\n])*"
                         + (r"|(?<=[(,=:] )/(?:\\.|[^/\\\n])+/|(?<=\()/(?:\\.|[^/\\\n])+/" if page else ""),
                         re.DOTALL | re.MULTILINE)
    for match in pattern.finditer(text):
        comment = match.group().startswith(("//", "/*")) or match.group().lstrip().startswith("#")
        blank(match.start() + (not comment), match.end() - (not comment), " " if comment else "_")
    text = "".join(out)
    for match in re.finditer(r"\bstatic_assert\(", text):
        blank(match.start(), closing(text, match.end() - 1), " ")
    return "".join(out)


def closing(m, at):
    """The place of the bracket that closes the one at `at`."""
    depth = 0
    for i in range(at, len(m)):
        if m[i] in "([{":
            depth += 1
        elif m[i] in ")]}":
            depth -= 1
            if depth == 0:
                return i
    return len(m)


def outside(text):
    """The text without what stands in brackets."""
    kept, i = [], 0
    while i < len(text):
        if text[i] in "([{":
            i = closing(text, i)
        else:
            kept.append(text[i])
        i += 1
    return "".join(kept)


def end_of(m, at, stops=";"):
    """The first of `stops` from `at` on that stands in no bracket."""
    i = at
    while i < len(m) and m[i] not in stops and m[i] not in ")]}":
        i = closing(m, i) + 1 if m[i] in "([{" else i + 1
    return i


def split(m, start, end, operator):
    """The operands between `start` and `end` that this operator joins, outside of brackets."""
    parts, i, began = [], start, start
    while i < end:
        if m[i] in "([{":
            i = closing(m, i)
        elif m.startswith(operator, i):
            parts.append((began, i))
            began = i + len(operator)
        i += 1
    parts.append((began, end))
    return parts


def trimmed(m, start, end):
    while start < end and m[start].isspace():
        start += 1
    while end > start and m[end - 1].isspace():
        end -= 1
    return start, end


# What only places or paints: no figure, text or state is wrong without it.
LOOK = re.compile(r"[pP]ainter|Margins|Spacing|Stretch|setFrame|SizePolicy|set(Min|Max)imum(Width|Height|Size)|setFixed"
                  r"|resize|[sS]izeHint|QRectF?\b|QPointF?\b|QSizeF?\b|IconSize|[fF]ont\b|fontMetrics|metrics|WordWrap"
                  r"|ShowGrid|Alignment|ColumnWidth|setParent|setObjectName|k\w+Scale = |setIndent|setCornerButton"
                  r"|ScrollBar|setFlat|setAutoRaise|Shape|horizontalHeader|verticalHeader")


class Planter:
    def __init__(self, path, text, first):
        self.path, self.text, self.first = path, text, first
        self.page = path.endswith(".js")
        self.call = "planted." if self.page else "planted::"
        self.m = masked(text, self.page)
        self.bodies = self.function_bodies()
        self.faults = []

    def function_bodies(self):
        """For each place, whether it lies in the body of a function."""
        inside, stack = bytearray(len(self.m)), []
        for i, c in enumerate(self.m):
            if c == "{":
                head = self.m[max(self.m.rfind(x, 0, i) for x in ";{}") + 1:i].rstrip()
                if re.search(r"\b(class|struct|enum|namespace|union)\b", head) and not head.endswith(")"):
                    stack.append(False)
                elif head.endswith((")", "else", "do", "try", "const", "override", "noexcept", "final", "mutable",
                                    "=>")) or re.search(r"\) (const )?(noexcept )?-> [\w:<>*& ]+$", head):
                    stack.append(True)
                else:
                    stack.append(bool(stack) and stack[-1])
            elif c == "}" and stack:
                stack.pop()
            inside[i] = bool(stack) and stack[-1]
        return inside

    def add(self, kind, start, end, before, after="", replaced=0, name=""):
        start, end = (start, end) if replaced or start == end else trimmed(self.m, start, end)
        if start == end and after:
            return
        number = self.first + len(self.faults)
        line = self.text.count("\n", 0, start) + 1
        code = self.text.splitlines()[line - 1].strip()
        head = self.m[max(self.m.rfind(x, 0, start) for x in ";{}") + 1:start]
        if LOOK.search(code) or ("constexpr " in head and not name):
            return  # or it is calculated by the compiler
        nth = sum(f.kind == kind and f.code.rsplit("  #", 1)[0] == code for f in self.faults) + 1
        if nth > 1:
            code += f"  #{nth}"
        self.faults.append(Fault(number, self.path, line, kind, code,
                                 [(start, end, before.replace("@", str(number)), after, replaced)], name))

    def negate(self, kind, start, end):
        as_bool = "(" if self.page else "static_cast<bool>("
        self.add(kind, start, end, f"{self.call}{'not' if self.page else 'Not'}(@, {as_bool}", "))")

    def fault(self):
        return f"{self.call}{'fault' if self.page else 'Fault'}(@)"

    def operands(self, start, end):
        """Drops each operand of the && and || between the two places."""
        start, end = trimmed(self.m, start, end)
        if self.m[start:start + 1] == "!" and self.m[start + 1:start + 2] == "(":
            start += 1
        if self.m[start:start + 1] == "(" and closing(self.m, start) == end - 1:
            return self.operands(start + 1, end - 1)
        for operator, before in (("||", f"(!{self.fault()} && ("), ("&&", f"({self.fault()} || (")):
            parts = split(self.m, start, end, operator)
            if len(parts) > 1:
                for part in parts:
                    self.add("operand dropped", *part, before, "))")
                    self.operands(*part)
                return None
        return None

    def conditions(self):
        for match in re.finditer(r"\b(if|while) \(", self.m):
            start, end = match.end(), closing(self.m, match.end() - 1)
            if not self.page:
                start = split(self.m, start, end, ";")[-1][0]
            condition = self.m[start:end]
            if re.search(r"(?<![=!<>+\-*/|&^])=(?!=)", re.sub(r"\[.*", "", condition)) or "co_await" in condition:
                continue
            if match.group(1) == "if":
                self.negate("condition negated", start, end)
            else:
                self.add("loop never entered", start, end, f"(!{self.fault()} && (", "))")
            self.operands(start, end)

    def returns(self):
        for match in re.finditer(r"\b(?:co_)?return ", self.m):
            start, end = match.end(), end_of(self.m, match.end())
            what = self.m[start:end]
            flat = outside(what)
            if " ? " in flat or "co_await" in what or re.search(r"[+] ", flat):
                continue
            if re.fullmatch(r"true|false", what) or what.startswith("!") or re.search(
                    r" (&&|\|\||[=!]=+|[<>]=?) ", flat):
                self.negate("result negated", start, end)
                self.operands(start, end)

    def choices(self):
        for match in re.finditer(r"\s\? ", self.m):
            i, depth = match.start() - 1, 0
            while i > 0:
                c = self.m[i]
                if c in ")]}":
                    depth += 1
                elif c in "([{":
                    if depth == 0:
                        break
                    depth -= 1
                elif depth == 0 and (
                        c in ",;" or re.match(r"\breturn\s|[^=!<>]=\s|:\s|\?\s|<<\s|=>\s", self.m[i:i + 8])):
                    i += len(re.match(r"return|=>|.=(?=\s)|<<|.", self.m[i:i + 8]).group()) - 1
                    break
                i -= 1
            self.negate("choice negated", i + 1, match.start())
            self.operands(i + 1, match.start())

    def arithmetic(self):
        operand = re.compile(r"[\w.?]+(\((?:[^()]|\([^()]*\))*\)|\[[^\]]*\])*(?![\w(\[.])(?! [*/])")
        step = {"<": 1, "<=": -1, ">": -1, ">=": 1}
        for match in re.finditer(r"(?<=[\w)\]'\"}])\s([<>]=?|[-+*/]|[-+]=)\s+(?=[\w(*\-!'\"])", self.m):
            operator, at = match.group(1), match.end()
            kind = "boundary moved" if operator in step else "arithmetic changed"
            if self.page:
                value = operand.match(self.m, at)
                if operator in "*/":
                    self.add(kind, at, at, f"planted.scale(@) {operator} ")
                elif value and value.group() not in ("new", "await", "typeof"):
                    change = f"planted.step(@, |, {step[operator]})" if operator in step else "planted.sign(@, |)"
                    self.add(kind, at, value.end(), *change.split("|"))
            elif operator in step:
                self.add(kind, at, at, f"planted::Step(@, {step[operator]}) + ")
            elif operator in "*/":
                self.add(kind, at, at, f"planted::Scale(@) {operator} ")
            elif not self.joins_texts(at):
                self.add(kind, at, at, "planted::Sign(@) * ")

    def joins_texts(self, at):
        """Whether a text stands in the statement that holds this place."""
        start = max(self.m.rfind(x, 0, at) for x in ";{}") + 1
        return '"' in self.m[start:end_of(self.m, at)]

    def statements(self):
        keyword = re.compile(r"(return|co_return|co_yield|if|for|while|switch|case|else|using|throw|delete|break"
                             r"|continue|static|const|constexpr|auto|namespace|struct|class|enum|public|private"
                             r"|protected|template"
                             r"|typename|friend|try|catch|do|default|let|function|export|import|explicit|virtual"
                             r"|Q_\w*)\b(?!EMIT)")
        declaration = re.compile(r"(?:[\w:]+(?:<[^;=]*>)?[&*]*)\s+[&*]*\w+\s*(?:[({=\[]|$)")
        for match in re.finditer(r"^[ \t]+(?=[A-Za-z_*]|\+\+|--)", self.m, re.MULTILINE):
            at = match.end()
            before = self.m[:at].rstrip()
            if self.m.startswith("Q_EMIT ", at):
                at += len("Q_EMIT ")
            elif keyword.match(self.m, at):
                continue
            end = end_of(self.m, at)
            what = self.m[at:end]
            waits = re.match(r"(co_)?await ", what)
            if not self.bodies[at] or not before.endswith((";", "{", "}", ")", "else", ":")):
                continue
            if self.m[end:end + 1] != ";" or not (waits or re.search(r"\(| [-+*/|&]?= |\+\+|--", what)):
                continue
            if "co_await" in what or waits:
                if before.endswith((";", "{", "}")) and (waits or re.match(r"[\w.>\-]+ = ", what)):
                    self.add("call dropped", at, at, f"if (!{self.fault()}) ")
            elif not declaration.match(what):
                nothing = "undefined : (" if self.page else "void() : static_cast<void>("
                self.add("call dropped", at, end, f"{self.fault()} ? {nothing}", ")")

    def early_returns(self):
        head = r"\bfunction \w+\(" if self.page else r"\bvoid [\w:]+\("
        for match in re.finditer(head, self.m):
            end = closing(self.m, match.end() - 1) + 1
            body = re.match(r"( const| override| noexcept| final)* \{(?=\s*\n)", self.m[end:])
            if body:
                at = end + body.end()
                self.add("early return", at, at, f" if ({self.fault()}) return;")

    def constants(self):
        if self.page:
            for match in re.finditer(r"^const [A-Z_]+ = (?=\d)", self.m, re.MULTILINE):
                self.add("constant doubled", match.end(), match.end(), "planted.scale(@) * ")
            return
        number = (r"(?:(?:std::)?(?:u?int(?:8|16|32|64)_t|size_t)|int|long|unsigned|double|float|auto|qint64|qsizetype"
                  r"|WallTime|std::chrono::\w+)")
        for match in re.finditer(rf"\b(static )?constexpr ({number}) (k\w+) = ([^;{{\"\[]+);", self.m):
            static, kind, name, value = match.groups()
            if re.fullmatch(r"0|0\.0", value):
                continue
            word = match.start() + len(static or "")
            in_body = self.bodies[match.start()]
            self.add("constant doubled", match.start(4), match.end(4),
                     "planted::Scale(@) * (" if kind == "auto" or "chrono" in kind
                     else f"static_cast<{kind}>(planted::Scale(@) * (",
                     ")" if kind == "auto" or "chrono" in kind else "))", name=name)
            if not self.faults or self.faults[-1].name != name:
                continue
            self.faults[-1].edits.append(
                (word, word, "inline const" if static and not in_body else "const", "", len("constexpr")))

    def all(self):
        for plant in (self.conditions, self.returns, self.choices, self.arithmetic, self.statements,
                      self.early_returns, self.constants):
            plant()
        return self.faults


def plant(path, text, faults):
    """The text with these faults in it."""
    events = []
    for fault in faults:
        for start, end, before, after, replaced in fault.edits:
            events.append((start, 1 if after else 2, -end, before, replaced))
            if after:
                events.append((end, 0, -start, after, 0))
    out, at = [], 0
    for place, _, _, added, replaced in sorted(events):
        out += [text[at:place], added]
        at = place + replaced
    text = "".join(out) + text[at:]
    if path.endswith(".js"):
        return PAGE_SWITCH + text
    return f'#include "planted.h"\n#line 1 "{path}"\n{text}'
