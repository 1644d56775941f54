"""Where faults can be planted in a source, as clang sees it.

A fault is code put before and behind a piece of the source, so that any number of
them, also one within another, can be in one compiled file and be switched on while
it runs: `a < b` becomes `(MUTANT(7) ? (a <= b) : (a < b))`. Left out are what the
compiler evaluates (constants, static assertions, sizes, cases), logging, assertions,
and what only saves memory or time, such as reserve().
"""

import dataclasses
import re

from clang.cindex import CursorKind, Index, TypeKind

SWAPS = {
    "<": ["<="], "<=": ["<"], ">": [">="], ">=": [">"], "==": ["!="], "!=": ["=="],
    "&&": ["||"], "||": ["&&"],
    "+": ["-"], "-": ["+"], "*": ["+"], "/": ["*"], "%": ["+"],
    "<<": [">>"], ">>": ["<<"], "&": ["|"], "|": ["&"], "^": ["&"],
}
COMPARISONS = ("<", "<=", ">", ">=", "==", "!=")
KIND_OF = {"&&": "logical", "||": "logical"} | {op: "comparison" for op in COMPARISONS}
COMPOUND_SWAPS = {"+=": "-=", "-=": "+=", "|=": "&=", "&=": "|=", "<<=": ">>=", ">>=": "<<=",
                  "*=": "+=", "/=": "*="}
NOT_WORTH_DROPPING = re.compile(
    r"XLOG_|PROFILE|assert\b|static_cast<void>|\(void\)|.*(\.|->)(reserve|shrink_to_fit)\(")
QUOTED = re.compile(rb"(?<!\w)'(?:\\.|[^'\\])+'|\"(?:\\.|[^\"\\])*\"")
LOGGING = re.compile(r"XLOG_|PROFILE|assert$|static_assert")
FUNCTIONS = (CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR,
             CursorKind.DESTRUCTOR, CursorKind.CONVERSION_FUNCTION, CursorKind.FUNCTION_TEMPLATE)
INTEGERS = range(TypeKind.CHAR_U.value, TypeKind.INT128.value + 1)
STATEMENT_PARENTS = (CursorKind.COMPOUND_STMT, CursorKind.IF_STMT, CursorKind.FOR_STMT,
                     CursorKind.WHILE_STMT, CursorKind.CXX_FOR_RANGE_STMT, CursorKind.CASE_STMT,
                     CursorKind.DEFAULT_STMT)
CALLS = (CursorKind.CALL_EXPR, CursorKind.UNEXPOSED_EXPR, CursorKind.BINARY_OPERATOR,
         CursorKind.COMPOUND_ASSIGNMENT_OPERATOR, CursorKind.UNARY_OPERATOR)


@dataclasses.dataclass(frozen=True)
class Mutant:
    file: str      # by its path from the root
    line: int
    column: int
    start: int     # bytes of the source that the code is put around
    end: int
    kind: str
    change: str    # for a reader: what it becomes
    before: str    # with @ where MUTANT(number) goes
    behind: str
    code: str      # the source's line, stripped

    def key(self):
        """What it is called as long as its line does not change."""
        return f"{self.file} | {self.code} | {self.change}"

    def overlaps(self, other):
        return self.file == other.file and self.start < other.end and other.start < self.end


class Finder:
    def __init__(self, root, file, arguments):
        self.file = file
        self.path = str(root / file)
        self.bytes = (root / file).read_bytes()
        self.lines = self.bytes.decode().splitlines()
        self.found = []
        unit = Index.create().parse(self.path, args=arguments, options=1)
        severe = [d for d in unit.diagnostics if d.severity >= 3]
        if severe:
            raise RuntimeError(f"{file}: {severe[0]}")
        self.macros = sorted(
            (c.extent.start.offset, c.extent.end.offset, c.spelling)
            for c in unit.cursor.get_children()
            if c.kind == CursorKind.MACRO_INSTANTIATION and self.is_here(c))
        for cursor in unit.cursor.get_children():
            if self.is_here(cursor):
                self.declaration(cursor)

    def is_here(self, cursor):
        return cursor.location.file is not None and cursor.location.file.name == self.path

    def text(self, start, end):
        return self.bytes[start:end].decode()

    def add(self, start, end, kind, change, before, behind, place=None):
        place = start if place is None else place
        for begin, finish, name in self.macros:
            # Nothing within a macro's arguments; nothing around a line of the log.
            if begin <= start and end <= finish:
                return
            if start <= begin and finish <= end and LOGGING.match(name):
                return
        line = self.bytes.count(b"\n", 0, place) + 1
        column = place - self.bytes.rfind(b"\n", 0, place)
        mutant = Mutant(self.file, line, column, start, end, kind, " ".join(change.split()),
                        before, behind, self.lines[line - 1].strip())
        self.found.append(mutant)

    def declaration(self, cursor):
        """Goes down to the bodies of functions."""
        if cursor.kind in FUNCTIONS:
            result = cursor.result_type
            for child in cursor.get_children():
                if child.kind == CursorKind.COMPOUND_STMT:
                    self.code(child, None, result)
                elif child.kind.is_expression() and child.kind not in (
                        CursorKind.DECL_REF_EXPR, CursorKind.MEMBER_REF_EXPR) \
                        and cursor.kind == CursorKind.CONSTRUCTOR:
                    self.code(child, cursor, None)
            return
        if cursor.kind == CursorKind.FIELD_DECL:
            return
        for child in cursor.get_children():
            if child.kind.is_declaration() and self.is_here(child):
                self.declaration(child)

    def code(self, cursor, parent, result):
        """Finds what can be changed of a statement or expression and within."""
        kind = cursor.kind
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        text = self.text(start, end)
        if kind in (CursorKind.TYPE_REF, CursorKind.TEMPLATE_REF, CursorKind.STATIC_ASSERT,
                    CursorKind.CXX_UNARY_EXPR):
            return
        children = list(cursor.get_children())
        if kind == CursorKind.VAR_DECL and re.match(
                r"[^=({]*\b(constexpr|constinit|static)\b", text):
            return
        if kind == CursorKind.LAMBDA_EXPR:
            for child in children:
                if child.kind == CursorKind.COMPOUND_STMT:
                    self.code(child, None, None)
            return
        if kind == CursorKind.CASE_STMT:
            children = children[1:]
        if kind == CursorKind.IF_STMT:
            if re.match(r"if\s+constexpr", text):
                children = children[1:]
            else:
                self.condition(start, children)
        elif kind == CursorKind.WHILE_STMT:
            self.condition(start, children)
        elif kind == CursorKind.CONDITIONAL_OPERATOR and children:
            self.negate(children[0], "?:")
        elif kind == CursorKind.RETURN_STMT:
            self.returned(start, end, children, result)
        elif kind in (CursorKind.BREAK_STMT, CursorKind.CONTINUE_STMT):
            if parent is None or parent.kind not in (CursorKind.CASE_STMT,
                                                     CursorKind.DEFAULT_STMT):
                self.drop_jump(start, end, text)
        elif kind == CursorKind.BINARY_OPERATOR or (
                kind == CursorKind.CALL_EXPR and re.fullmatch(r"operator\W+", cursor.spelling)):
            self.binary(cursor, start, end)
        elif kind == CursorKind.INTEGER_LITERAL:
            self.number(start, end, text, parent)
        elif kind == CursorKind.CXX_BOOL_LITERAL_EXPR:
            self.flip(start, end, text)
        elif kind == CursorKind.CHARACTER_LITERAL:
            self.add(start, end, "constant", f"{text} + 1", "static_cast<char>(",
                     " + (@ ? 1 : 0))")
        self.statement(cursor, parent, start, end, text)
        for child in children:
            self.code(child, cursor, result)

    def condition(self, start, children):
        """The condition of an if or a while, unless it declares something."""
        begin = self.bytes.index(b"(", start)
        depth, at, begins = 0, begin, begin + 1
        while True:
            quoted = QUOTED.match(self.bytes, at)
            if quoted:
                at = quoted.end()
            byte = self.bytes[at:at + 1]
            depth += (byte in (b"(", b"{", b"[")) - (byte in (b")", b"}", b"]"))
            if byte == b";" and depth == 1:
                begins = at + 1
            if depth == 0:
                break
            at += 1
        for child in children:
            inside = begins <= child.extent.start.offset and child.extent.end.offset <= at
            if inside and child.kind.is_expression():
                self.negate(child, "if")

    def negate(self, child, what):
        start, end = child.extent.start.offset, child.extent.end.offset
        text = self.text(start, end)
        if self.operator_of(child) in ("==", "!=") or text in ("true", "false"):
            return
        self.add(start, end, "negated condition", f"{what} not {shortened(text)}",
                 "(@ != static_cast<bool>(", "))")

    def operator_of(self, cursor):
        while cursor.kind in (CursorKind.UNEXPOSED_EXPR, CursorKind.PAREN_EXPR):
            inner = list(cursor.get_children())
            if len(inner) != 1:
                return None
            cursor = inner[0]
        operands = self.operands(cursor)
        return operands[1] if operands else None

    def operands(self, cursor):
        """(left, operator, right) of a binary operator, or None."""
        children = list(cursor.get_children())
        if cursor.kind == CursorKind.BINARY_OPERATOR and len(children) == 2:
            left, right = children
        elif cursor.kind == CursorKind.CALL_EXPR and len(children) == 3:
            left, _, right = children
        else:
            return None
        between = self.text(left.extent.end.offset, right.extent.start.offset)
        operator = re.sub(r"//.*|/\*.*?\*/|\s|[()]", "", between)
        return left, operator, right

    def binary(self, cursor, start, end):
        operands = self.operands(cursor)
        if operands is None or operands[1] not in SWAPS:
            return
        left, operator, right = operands
        gap_start, gap_end = left.extent.end.offset, right.extent.start.offset
        if left.extent.start.offset != start or right.extent.end.offset != end:
            return
        integer = cursor.type.get_canonical().kind.value in INTEGERS
        if KIND_OF.get(operator) is None and not integer and \
                cursor.type.get_canonical().kind not in (TypeKind.POINTER, TypeKind.DEPENDENT):
            return
        what = f"before {shortened(self.text(gap_end, end))}"
        gap = self.text(gap_start, gap_end)
        for instead in SWAPS[operator]:
            changed = (self.text(start, gap_start) + gap.replace(operator, instead) +
                       self.text(gap_end, end))
            self.add(start, end, KIND_OF.get(operator, "arithmetic"),
                     f"{operator} becomes {instead} {what}",
                     f"(@ ? ({changed}) : (", "))", place=gap_start)
        if operator in ("&&", "||"):
            for side, name in ((left, "left"), (right, "right")):
                only = self.text(side.extent.start.offset, side.extent.end.offset)
                self.add(start, end, "logical", f"only what is {name} of {operator} {what}",
                         f"(@ ? static_cast<bool>({only}) : (", "))", place=gap_start)
        if operator in ("+", "-") and integer:
            self.add(start, end, "arithmetic", f"one more, {operator} {what}",
                     "((", ") + (@ ? 1 : 0))", place=gap_start)

    def number(self, start, end, text, parent):
        # Sizes of arrays and arguments of templates.
        if re.search(rb"\[\s*$|\w<[^<>;()]*$", self.bytes[:start].rsplit(b"\n", 1)[-1]):
            return
        if parent is not None and parent.kind == CursorKind.VAR_DECL and re.match(
                r"const\b", self.text(parent.extent.start.offset, start)):
            return
        digits = re.match(r"0[xX][0-9a-fA-F']+|[0-9']+", text)
        if digits is None:
            return
        self.add(start, end, "constant", f"{text} + 1", f"(@ ? {text} + 1 : ", ")")
        base = 16 if digits.group()[1:2] in ("x", "X") else 10
        if int(digits.group().replace("'", ""), base) > 1:
            self.add(start, end, "constant", f"{text} - 1", f"(@ ? {text} - 1 : ", ")")

    def flip(self, start, end, text):
        self.add(start, end, "constant", f"not {text}", "(@ != ", ")")

    def returned(self, start, end, children, result):
        behind = re.compile(rb"\s*;").match(self.bytes, end)
        if behind is None:
            return
        finish = behind.end()
        if not children:
            self.add(start, finish, "dropped statement", "no return", "{ if (!@) ", " }")
            return
        value = children[0]
        begin, stop = value.extent.start.offset, value.extent.end.offset
        text = self.text(begin, stop)
        kind = value.type.get_canonical().kind
        if result is not None:
            kind = result.get_canonical().kind
        if kind == TypeKind.BOOL:
            if text not in ("true", "false") and \
                    self.operator_of(value) not in ("==", "!="):
                self.add(begin, stop, "returned value", f"return not {shortened(text)}",
                         "(@ != static_cast<bool>(", "))")
        elif kind.value in INTEGERS and not re.fullmatch(r"\d\w*", text):
            self.add(begin, stop, "returned value", f"return {shortened(text)} + 1",
                     "((", ") + (@ ? 1 : 0))")
        elif result is not None and kind != TypeKind.VOID and \
                text not in ("0", "{}", "nullptr", "std::nullopt"):
            self.add(start, finish, "returned value",
                     f"return {{}} for {shortened(text)}", "{ if (@) return {}; ", " }")

    def drop_jump(self, start, end, text):
        behind = re.compile(rb"\s*;").match(self.bytes, end)
        if behind:
            self.add(start, behind.end(), "dropped statement", f"no {text}", "{ if (!@) ", " }")

    def statement(self, cursor, parent, start, end, text):
        """A call, an assignment or a step that is a statement of its own."""
        if parent is None:
            parent_is_body = False
        else:
            parent_is_body = parent.kind in STATEMENT_PARENTS
        if not parent_is_body or cursor.kind not in CALLS:
            return
        if not re.compile(rb"\s*;").match(self.bytes, end):
            return
        if parent.kind == CursorKind.FOR_STMT and \
                self.bytes[:start].rstrip()[-1:] not in (b")", b"}"):
            return
        if NOT_WORTH_DROPPING.match(text):
            return
        self.add(start, end, "dropped statement", f"no {shortened(text)}",
                 "(@ ? void() : void(", "))")
        if cursor.kind == CursorKind.COMPOUND_ASSIGNMENT_OPERATOR:
            left, right = list(cursor.get_children())
            between = self.text(left.extent.end.offset, right.extent.start.offset)
            instead = COMPOUND_SWAPS.get(between.strip())
            if instead:
                changed = text.replace(between, f" {instead} ", 1)
                self.add(start, end, "arithmetic", f"{between.strip()} becomes {instead}",
                         f"(@ ? void({changed}) : void(", "))")


def shortened(text):
    words = " ".join(text.split())
    return words if len(words) <= 40 else words[:37] + "..."


def mutants_of(root, file, arguments):
    """All mutants of a source, by their place."""
    found = Finder(root, file, arguments).found
    unique = {(m.start, m.end, m.change): m for m in found}
    return sorted(unique.values(), key=lambda m: (m.start, -m.end, m.change))

