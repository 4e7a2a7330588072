"""Which faults are found in a source, and where none is."""

from __future__ import annotations

import unittest
from pathlib import Path

from equivalent import EQUIVALENT
from sourcefaults import Fault, faults, line_of

ROOT = Path(__file__).resolve().parents[2]
FUNCTION = "void f()\n{{\n    {}\n}}\n"


class TestFaults(unittest.TestCase):

    def changes(self, text: str, kind: str) -> list[tuple[str, str]]:
        """What goes and what comes, of the faults of a kind."""
        return [(text[fault.start:fault.end], fault.text) for fault in faults(text)
                if fault.kind == kind]

    def in_function(self, statement: str, kind: str) -> list[tuple[str, str]]:
        return self.changes(FUNCTION.format(statement), kind)

    def kinds(self, text: str) -> set[str]:
        return {fault.kind for fault in faults(text)}

    def test_none_where_nothing_is_compiled(self) -> None:
        self.assertEqual(faults('// a == "b" && 1\n/* c(1, 2); */\n#include "x1.h"\n'
                                "#if A == 1\n#endif\n"), [])

    def test_none_in_signatures(self) -> None:
        connection = "connect(a, SIGNAL(row(int,bool)), this, SLOT(c(int,int)));"
        self.assertEqual(self.in_function(connection, "name"), [])
        self.assertEqual(self.in_function(connection, "connect"), [(connection, ";")])

    def test_unused_arguments_stay(self) -> None:
        self.assertEqual(faults(FUNCTION.format("Q_UNUSED(bClick)")), [])

    def test_comparison(self) -> None:
        self.assertEqual(self.in_function("a = b < c;", "comparison"), [("<", "<="), ("<", ">=")])
        self.assertEqual(self.in_function("a = b == c;", "comparison"), [("==", "!=")])

    def test_template_is_no_comparison(self) -> None:
        self.assertEqual(self.in_function("a = cast<B *>(c);", "comparison"), [])

    def test_boundary_and_number(self) -> None:
        self.assertEqual(self.in_function("a = 7;", "boundary"), [("7", "6"), ("7", "8")])
        self.assertEqual(self.in_function("a = 0;", "boundary"), [("0", "(-1)"), ("0", "1")])
        self.assertEqual(self.in_function("a = 0x05F9;", "boundary"),
                         [("0x05F9", "1528"), ("0x05F9", "1530")])
        self.assertEqual(self.in_function("a = 7;", "number"), [("7", "0")])
        self.assertEqual(self.in_function("a = 'a';", "number"), [("'a'", "'b'")])

    def test_text(self) -> None:
        self.assertEqual(self.in_function(r'a = "b\"c";', "text"),
                         [(r'"b\"c"', '""'), (r'"b\"c"', r'"b\"cx"')])
        self.assertEqual(self.in_function('a = "";', "text"), [('""', '"x"')])

    def test_logic_and_negation(self) -> None:
        text = "if (!a && b)\n        c();"
        self.assertEqual(self.in_function(text, "logic"), [("&&", "||")])
        self.assertEqual(self.in_function(text, "negation"),
                         [("!", ""), ("!a && b", "!(!a && b)")])
        self.assertEqual(self.in_function("a = b ? c : d(e);", "negation"),
                         [("c : d(e)", "d(e) : c")])

    def test_reference_is_no_operator(self) -> None:
        self.assertEqual(self.in_function("const A &a = b; C &&c = d(&a);", "arithmetic"), [])
        self.assertEqual(self.in_function("const A &a = b; C &&c = d(&a);", "logic"), [])

    def test_statement(self) -> None:
        text = "int a = 1;\n    b(a);\n    if (a)\n        c();\n    delete d;\n    return;"
        self.assertEqual([gone for gone, _ in self.in_function(text, "statement")],
                         ["b(a);", "if (a)\n        c();", "c();", "delete d;"])

    def test_statement_of_a_function_in_an_expression(self) -> None:
        self.assertIn(("++a;", ";"), self.in_function("each([&](int) { ++a; });", "statement"))

    def test_order(self) -> None:
        self.assertEqual(self.in_function("a();\n    b();", "order"),
                         [("a();\n    b();", "b();\n    a();")])
        self.assertEqual(self.in_function("int a = 1;\n    b();", "order"), [])

    def test_order_of_connections_to_different_senders(self) -> None:
        self.assertEqual(self.in_function("connect(a, b);\n    connect(c, d);", "order"), [])
        self.assertEqual(len(self.in_function("connect(a, b);\n    connect(a, d);", "order")), 1)

    def test_arguments(self) -> None:
        self.assertEqual(self.in_function("a(b, c(d), e);", "arguments"),
                         [("b, c(d)", "c(d), b"), ("c(d), e", "e, c(d)")])
        self.assertEqual(self.in_function('a(B{"c", 1});', "arguments"), [('"c", 1', '1, "c"')])
        self.assertEqual(self.in_function("a(b, b);", "arguments"), [])
        self.assertEqual(self.in_function("a(b, new C, pD, this);", "arguments"),
                         [("new C, pD", "pD, new C"), ("pD, this", "this, pD")])

    def test_parameters_are_no_arguments(self) -> None:
        self.assertEqual(self.changes("void f(int a, int b)\n{\n    c();\n}\n", "arguments"), [])

    def test_early_return(self) -> None:
        self.assertEqual(self.in_function("a();\n    b();", "early return"), [("", "return; ")])
        self.assertEqual(self.changes("int f()\n{\n    a();\n    return b;\n}\n", "early return"),
                         [("", "return {}; ")])
        self.assertEqual(self.changes("A::A(int b) : c(b)\n{\n    d();\n    e();\n}\n",
                                      "early return"), [("", "return; ")])

    def test_return(self) -> None:
        text = "int f()\n{\n    if (a)\n        return b;\n    return c;\n}\n"
        self.assertEqual(self.changes(text, "return"), [
            ("return b;", ";"), ("return b;", "return {};"), ("return c;", "return {};")])

    def test_else(self) -> None:
        self.assertEqual(self.in_function("if (a)\n        b();\n    else\n        c();", "else"),
                         [("else\n        c();", "")])

    def test_names(self) -> None:
        self.assertEqual(self.in_function("a(Qt::CheckStateRole);", "name"),
                         [("CheckStateRole", "DisplayRole"), ("CheckStateRole", "ToolTipRole"),
                          ("CheckStateRole", "UserRole")])

    def test_declared_names_stay(self) -> None:
        text = "void f(int sent, int total)\n{\n    QIcon red;\n}\n"
        self.assertEqual(self.changes(text, "name"), [])
        text = "enum Column {\n    FirmwareColumn,\n    ImsiColumn = 1 + 2\n};\n"
        self.assertEqual(self.changes(text, "name"), [])
        self.assertEqual(len(self.changes(text, "arguments")), 1)

    def test_true_or_false(self) -> None:
        self.assertEqual(self.in_function("a(true);", "true or false"), [("true", "false")])

    def test_later_lines_keep_their_numbers(self) -> None:
        """Or the places that the log names would change, and every program with them."""
        text = FUNCTION.format("a(1,\n      2);\n    b();")
        for fault in faults(text):
            self.assertEqual(fault.planted(text).count("\n"), text.count("\n"), fault)
        self.assertEqual(Fault("statement", 4, 9, ";").planted("x;\n\na(\n)\nb"), "x;\n\n;\n\nb")

    def test_changed_lines(self) -> None:
        text = "a = 1;\n  b(2,\n    c);\nd"
        self.assertEqual(Fault("number", 11, 12, "3").lines(text), ("b(2,", "b(3,"))
        self.assertEqual(Fault("arguments", 11, 19, "c, 2").lines(text), ("b(2, c);", "b(c, 2);"))
        self.assertEqual(Fault("name", len(text) - 1, len(text), "e").lines(text), ("d", "e"))

    def test_line(self) -> None:
        self.assertEqual([line_of("a\nb\n", place) for place in range(4)], [1, 1, 2, 2])

    def test_reasons_are_for_faults_that_can_be_planted(self) -> None:
        for name, *lines in EQUIVALENT:
            with self.subTest(name, lines=lines):
                source = (ROOT / name).read_text(encoding="utf-8")
                self.assertIn(tuple(lines), [fault.lines(source) for fault in faults(source)])


if __name__ == "__main__":
    unittest.main()
