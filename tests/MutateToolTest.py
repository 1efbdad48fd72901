#!/usr/bin/env python3
"""What scripts/mutate makes of a source: its tokens, the scopes and the changes. Nothing is built here."""

import importlib.machinery
import importlib.util
import pathlib
import sys
import unittest

sys.dont_write_bytecode = True  # a script has no place for it
PATH = str(pathlib.Path(__file__).resolve().parent.parent / "scripts" / "mutate")
LOADER = importlib.machinery.SourceFileLoader("mutate", PATH)
mutate = importlib.util.module_from_spec(importlib.util.spec_from_loader("mutate", LOADER))
sys.modules["mutate"] = mutate
LOADER.exec_module(mutate)


def changes(text, begin=""):
    """The mutated texts of a source by operator, of those operators that begin with `begin`."""
    found = {}
    for mutant in mutate.mutants_of("X.cpp", text):
        if mutant.operator.startswith(begin):
            found.setdefault(mutant.operator, []).append(mutant.apply(text))
    return found


def in_function(statements):
    return "void f() {\n" + statements + "\n}\n"


def body_changes(statements, begin=""):
    """As above for statements of a function; of the results only what became of them."""
    found = changes(in_function(statements), begin)
    return {operator: [text[11:-3] for text in texts] for operator, texts in found.items()}


class Tokens(unittest.TestCase):
    def texts(self, source):
        return [token.text for token in mutate.Source(source).tokens]

    def test_comments_are_none(self):
        self.assertEqual(self.texts("a /* b == c */ + d // e < f\n;"), ["a", "+", "d", ";"])

    def test_preprocessor_lines_are_none_to_the_end_of_the_last_one(self):
        self.assertEqual(self.texts("#define X \\\n  1 + 2\n  #if 1\na;"), ["a", ";"])

    def test_comment_marks_and_quotes_in_literals_are_text(self):
        literals = [r'"// \" /*"', "'\"'", r"'\''"]
        self.assertEqual(self.texts(" ".join(literals)), literals)

    def test_raw_string_ends_at_its_own_fence(self):
        self.assertEqual(self.texts('R"x(a)"b)x";'), ['R"x(a)"b)x"', ";"])

    def test_longest_operator_is_taken(self):
        self.assertEqual(self.texts("a<<=b->c--"), ["a", "<<=", "b", "->", "c", "--"])

    def test_digit_separator_is_part_of_the_number(self):
        self.assertEqual(self.texts("1'000'000u"), ["1'000'000u"])


class Scopes(unittest.TestCase):
    def scopes(self, text):
        return {mutant.scope for mutant in mutate.mutants_of("X.cpp", text)}

    def test_function_in_namespaces(self):
        self.assertEqual(self.scopes("namespace {\nnamespace a::b {\nint f(int x = 1) { return x + 1; }\n}\n}"), {"f"})

    def test_function_template(self):
        self.assertEqual(self.scopes("template <size_t N>\nvoid g(char (&t)[N]) { t[3] = 'x'; }"), {"g"})

    def test_function_with_c_linkage(self):
        self.assertEqual(self.scopes('extern "C" void h(int) { k(1); }'), {"h"})
        self.assertEqual(self.scopes('extern "C" {\nchar t[] = "x";\n}'), {"t"})

    def test_variable_and_member(self):
        self.assertEqual(self.scopes("constexpr int LIMIT = 3;"), {"LIMIT"})
        self.assertEqual(self.scopes("struct S {\n  char name[32];\n};"), {"S::name"})

    def test_table(self):
        self.assertEqual(self.scopes('constexpr Row ROWS[] = {\n  {"a", f},\n};'), {"ROWS"})

    def test_enumeration(self):
        self.assertEqual(self.scopes("enum Mode : int { A = 1, B = 2 };"), {"Mode"})


class Operators(unittest.TestCase):
    def test_comparison_becomes_its_neighbours(self):
        self.assertEqual(
            body_changes("if (a < b) return;", "<"),
            {"< -> <=": ["if (a <= b) return;"], "< -> >=": ["if (a >= b) return;"]},
        )

    def test_angle_bracket_of_a_template_is_no_comparison(self):
        self.assertEqual(body_changes("x = static_cast<int>(y);", "<"), {})

    def test_reference_and_pointer_are_no_operators(self):
        self.assertEqual(set(body_changes("const T &a = *b;")), set())

    def test_operator_at_the_end_of_a_line_has_two_operands(self):
        self.assertEqual(body_changes("x = a &&\n    b;", "&&"), {"&& -> ||": ["x = a ||\n    b;"]})

    def test_negation_and_sign_are_removed(self):
        self.assertEqual(body_changes("x = !a;", "without"), {"without !": ["x = a;"]})
        self.assertEqual(body_changes("x = a[-n];", "without"), {"without -": ["x = a[n];"]})

    def test_zero_becomes_one_and_other_numbers_both_neighbours(self):
        self.assertEqual(mutate.number_changes("0"), ["1"])
        self.assertEqual(mutate.number_changes("1"), ["2"])
        self.assertEqual(mutate.number_changes("64u"), ["65u", "63u"])

    def test_hexadecimal_and_octal_numbers(self):
        self.assertEqual(mutate.number_changes("0xFF"), ["0x100", "0xFE"])
        self.assertEqual(mutate.number_changes("017"), ["16", "14"])

    def test_floating_point_number_stays(self):
        self.assertEqual(mutate.number_changes("1.5"), [])

    def test_string_gains_and_loses_a_character(self):
        self.assertEqual(mutate.string_changes('"ab"'), [("text + ~", '"ab~"'), ("text - last", '"a"')])

    def test_escape_is_one_character(self):
        self.assertEqual(mutate.string_changes(r'"a\n"')[1], ("text - last", '"a"'))
        self.assertEqual(mutate.string_changes(r'"\\"')[1], ("text - last", '""'))

    def test_empty_string_only_gains(self):
        self.assertEqual(mutate.string_changes('""'), [("text + ~", '"~"')])

    def test_character_becomes_another(self):
        self.assertEqual(body_changes("x = ';';", "'"), {"';' -> '~'": ["x = '~';"]})
        self.assertEqual(body_changes(r"x = '\0';", "'"), {r"'\0' -> '\1'": [r"x = '\1';"]})


class Statements(unittest.TestCase):
    def test_call_and_assignment_are_dropped(self):
        self.assertEqual(body_changes("f(a);", "drop"), {"drop statement": [";"]})
        self.assertEqual(body_changes("*a = b;", "drop"), {"drop statement": [";"]})

    def test_declarations_stay(self):
        for text in ("int a = b;", "const T &a = b;", "std::array<char *, N> a{};", "S *s = t;", "static T a = x;"):
            self.assertEqual(body_changes(text, "drop"), {}, text)

    def test_statement_under_a_condition_is_dropped_without_it(self):
        self.assertEqual(body_changes("if (a) f();", "drop"), {"drop statement": ["if (a) ;"]})

    def test_loop_head_is_no_statement(self):
        self.assertEqual(body_changes("for (;;) {\n  break;\n}", "drop"), {"drop break": ["for (;;) {\n  ;\n}"]})

    def test_statements_behind_case_labels(self):
        dropped = body_changes("switch (a) {\n  case 'c':\n    f();\n  default:\n    g();\n}", "drop")
        self.assertEqual(len(dropped["drop statement"]), 2)

    def test_result_becomes_an_empty_one(self):
        self.assertEqual(body_changes("return a + b;", "return"), {"return {}": ["return {};"]})

    def test_empty_result_stays(self):
        for value in ("0", "false", "nullptr"):
            self.assertEqual(body_changes(f"return {value};", "return"), {})

    def test_return_without_a_result_is_dropped(self):
        self.assertEqual(body_changes("if (a) return;", "drop"), {"drop return": ["if (a) ;"]})


class Identities(unittest.TestCase):
    TEXT = in_function("  f(1);  // one\n  f(1);")

    def ids(self, text):
        return [mutant.id for mutant in mutate.mutants_of("X.cpp", text)]

    def test_names_file_function_operator_occurrence_and_line(self):
        self.assertIn("X.cpp | f | 1 -> 2 | #2 | f(1);", self.ids(self.TEXT))

    def test_all_differ(self):
        ids = self.ids(self.TEXT)
        self.assertEqual(len(ids), len(set(ids)))

    def test_stay_when_lines_move_and_comments_change(self):
        self.assertEqual(self.ids(self.TEXT), self.ids("// new\n\n" + self.TEXT.replace("// one", "// 1")))

    def test_star_in_a_pattern_is_any_text_and_all_else_is_itself(self):
        mutant = mutate.mutants_of("X.cpp", in_function("f(a[1]);"))[0]
        self.assertTrue(mutant.named(["X.cpp | f | *"]))
        self.assertTrue(mutant.named([mutant.id]))
        self.assertFalse(mutant.named(["X?cpp*"]))

    def test_mutated_text_has_as_many_lines(self):
        text = in_function("f(a,\n  b);")
        for mutant in mutate.mutants_of("X.cpp", text):
            self.assertEqual(mutant.apply(text).count("\n"), text.count("\n"))


class DaemonSources(unittest.TestCase):
    def test_every_one_is_understood(self):
        for path in sorted(mutate.SOURCES.iterdir()):
            text = path.read_text()
            for mutant in mutate.mutants_of(path.name, text):
                self.assertTrue(mutant.scope, mutant.id)
                self.assertNotEqual(mutant.apply(text), text)


if __name__ == "__main__":
    unittest.main()
