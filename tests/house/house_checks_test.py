"""Each check of this folder is able to fail, and passes what it should."""
import shutil
import sys
import tempfile
import unittest
from pathlib import Path

import comments
import exports
import headers
import layers
import lengths
import limits
import messages
import mirror
import result_codes

CXX, C = "c++", "cc"


class HouseCheck(unittest.TestCase):
    def setUp(self):
        self.root = Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.root)

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")


class LayerCheck(HouseCheck):
    def faults_of(self, name, line):
        self.write(name, line + "\n")
        return layers.check(self.root)

    def test_passes_an_include_that_points_down(self):
        self.assertEqual([], self.faults_of("src/reader/a.h", '#include "box/box.h"'))

    def test_passes_an_include_of_the_same_layer(self):
        self.assertEqual([], self.faults_of("src/box/a.cpp", '#include "box/box.h"'))

    def test_refuses_an_include_that_points_up(self):
        faults = self.faults_of("src/box/a.cpp", '#include "reader/mp4_tree.h"')
        self.assertIn("box must not include reader/mp4_tree.h", faults[0])

    def test_refuses_the_workflow_in_the_engine(self):
        self.assertNotEqual([], self.faults_of("src/front/a.h", '  #  include "workflow/scan.h"'))

    def test_refuses_the_front_in_the_workflow(self):
        self.assertNotEqual([], self.faults_of("src/workflow/a/a.h", '#include "front/merger.h"'))

    def test_passes_a_room_beneath(self):
        line = '#include "workflow/system/files.h"'
        self.assertEqual([], self.faults_of("src/workflow/checks/a.cpp", line))

    def test_refuses_a_room_above(self):
        line = '#include "workflow/joining/plan_json.h"'
        faults = self.faults_of("src/workflow/checks/a.cpp", line)
        self.assertIn("checks must not include workflow/joining/plan_json.h", faults[0])

    def test_counts_a_public_header_to_the_room_of_its_source(self):
        self.write("src/workflow/joining/join.cpp", "")
        line = '#include "workflow/join.h"'
        self.assertEqual([], self.faults_of("src/workflow/joining/a.cpp", line))
        self.assertEqual(1, len(self.faults_of("src/workflow/merging/a.cpp", line)))

    def test_refuses_a_room_that_nobody_decided_on(self):
        line = '#include "workflow/system/files.h"'
        self.assertNotEqual([], self.faults_of("src/workflow/misc/a.cpp", line))

    def test_refuses_a_command_in_what_commands_stand_on(self):
        line = '#include "clipchain/commands/merge_options.h"'
        self.assertNotEqual([], self.faults_of("apps/clipchain/output/a.cpp", line))
        self.assertEqual([], self.faults_of("apps/clipchain/output/a.cpp", ""))

    def test_refuses_an_include_that_is_not_written_from_src(self):
        self.assertNotEqual([], self.faults_of("src/box/a.cpp", '#include "box.h"'))

    def test_passes_the_standard_library_everywhere(self):
        self.assertEqual([], self.faults_of("src/box/a.cpp", "#include <vector>"))

    def test_refuses_other_libraries_in_the_engine(self):
        self.assertNotEqual([], self.faults_of("src/merge/a.cpp", "#include <fmt/format.h>"))

    def test_passes_other_libraries_in_the_tool(self):
        self.assertEqual([], self.faults_of("apps/clipchain/a.cpp", "#include <CLI/CLI.hpp>"))

    def test_keeps_the_exif_library_in_its_place(self):
        line = "#include <libexif/exif-data.h>"
        self.assertEqual([], self.faults_of("src/clip/exif_library.cpp", line))
        self.assertNotEqual([], self.faults_of("src/clip/exif.cpp", line))

    def test_keeps_the_operating_system_in_the_platform_layer(self):
        line = "#include <unistd.h>"
        self.assertEqual([], self.faults_of("src/foundation/platform/cfw_posix.cpp", line))
        self.assertNotEqual([], self.faults_of("src/foundation/qv_file.cpp", line))

    def test_refuses_a_folder_that_is_no_layer(self):
        self.assertNotEqual([], self.faults_of("src/misc/a.cpp", "#include <vector>"))

    def test_refuses_to_find_nothing(self):
        self.assertNotEqual([], layers.check(self.root))


class ResultCodeCheck(HouseCheck):
    def faults_of(self, line):
        self.write("src/box/a.h", line + "\n")
        return result_codes.check(self.root)

    def test_passes_codes_that_must_be_used(self):
        self.assertEqual([], self.faults_of("  [[nodiscard]] static HRESULT Take(int a);"))

    def test_passes_functions_without_a_code(self):
        self.assertEqual([], self.faults_of("  void Take(HRESULT result);"))

    def test_refuses_a_code_that_may_be_passed_over(self):
        for line in ("HRESULT Take(int a);", "  static HRESULT Take(", "std::error_code Take();"):
            self.assertEqual(["src/box/a.h:1: Take is not [[nodiscard]]"], self.faults_of(line))

    def test_refuses_a_reason_that_may_be_passed_over(self):
        for line in ("Reason Take(int a);", "  const Reason& Take() const {"):
            self.assertEqual(["src/box/a.h:1: Take is not [[nodiscard]]"], self.faults_of(line))

    def test_refuses_a_reason_that_is_a_text(self):
        for line in ("std::string WhyNot(int a);", "  const std::string& Why() const {"):
            self.assertIn("answers no Reason", self.faults_of(line)[0])
        self.assertEqual([], self.faults_of("  std::string UnsharedWords(int a);"))


class MirrorCheck(HouseCheck):
    def faults_of(self, name):
        self.write("src/workflow/checks/a_check.cpp", "")
        self.write("apps/clipchain/terminal/paint.h", "")
        self.write(name, "")
        return mirror.check(self.root)

    def test_passes_a_test_of_the_name_of_its_source(self):
        self.assertEqual([], self.faults_of("tests/workflow/checks/a_check_test.cpp"))
        self.assertEqual([], self.faults_of("tests/apps/terminal/paint_test.cpp"))

    def test_passes_a_test_of_a_whole_behaviour(self):
        self.assertEqual([], self.faults_of("tests/workflow/whole/b_test.cpp"))

    def test_refuses_a_test_beside_its_room_or_of_another_name(self):
        for name in ("workflow/a_check_test.cpp", "workflow/checks/check_a_test.cpp",
                     "apps/output/paint_test.cpp"):
            self.assertEqual(1, len(self.faults_of(f"tests/{name}")), name)
            (self.root / "tests" / name).unlink()


class CommentCheck(HouseCheck):
    def faults_of(self, *lines):
        self.write("src/workflow/a/a.h", "\n".join(lines) + "\n")
        return comments.check(self.root)

    def test_passes_a_verb_in_front_and_comments_above(self):
        self.assertEqual([], self.faults_of("// Finds a clip.", "// In bytes.", "int size;"))
        self.assertEqual([], self.faults_of("/* Opens a door. */", 'auto a = "http://b";', "}  // c"))

    def test_refuses_a_header_that_begins_with_a_noun(self):
        for line in ("// Folders for results.", "// The folders.", "int a;", ""):
            self.assertEqual(
                ["src/workflow/a/a.h:1: does not begin with a verb"], self.faults_of(line)
            )

    def test_refuses_a_comment_behind_a_field(self):
        faults = self.faults_of("// Finds a clip.", "int size;  // bytes", 'auto a = "//";  // b')
        self.assertEqual(2, len(faults))

    def test_refuses_to_find_nothing(self):
        self.assertEqual(1, len(comments.check(self.root)))


class LengthCheck(HouseCheck):
    def function_of(self, lines):
        return "int F(int a) {\n" + "  ++a;\n" * (lines - 3) + "  return a;\n}\n"

    def faults_of(self, name, text):
        self.write(name, text)
        return lengths.check(self.root)

    def test_passes_a_function_at_the_limit(self):
        self.assertEqual([], self.faults_of("src/box/a.cpp", self.function_of(50)))

    def test_refuses_a_function_above_the_limit(self):
        faults = self.faults_of("src/box/a.cpp", "\n" + self.function_of(51))
        self.assertIn("a.cpp:2: a function of 51 lines", faults[0])

    def test_sees_a_function_inside_namespaces_and_classes(self):
        text = "namespace N {\nclass A {\n public:\n" + self.function_of(51) + "};\n}\n"
        self.assertEqual(1, len(self.faults_of("src/box/a.h", text)))

    def test_counts_a_function_after_braces_in_text(self):
        text = "const char* kOpen = \"{\";  // {\n" + self.function_of(51)
        self.assertEqual(1, len(self.faults_of("src/box/a.cpp", text)))

    def test_passes_a_long_table(self):
        text = "constexpr Row kRows[] = {\n" + '    {Make("a")},\n' * 60 + "};\n"
        self.assertEqual([], self.faults_of("src/box/a.cpp", text))

    def test_refuses_a_long_header_and_a_long_source(self):
        self.assertEqual([], self.faults_of("src/box/a.h", "\n" * 250))
        self.assertEqual([], self.faults_of("src/box/a.cpp", "\n" * 450))
        self.assertEqual(1, len(self.faults_of("src/box/b.h", "\n" * 251)))
        self.assertEqual(2, len(self.faults_of("src/box/b.cpp", "\n" * 451)))

    def test_refuses_to_find_nothing(self):
        self.assertNotEqual([], lengths.check(self.root))


class HeaderCheck(HouseCheck):
    def faults_of(self, name, text):
        self.write(name, text)
        return headers.check(self.root, CXX, C)

    def test_passes_a_header_that_stands_alone(self):
        text = "#pragma once\n#include <vector>\ninline std::vector<int> v;\n"
        self.assertEqual([], self.faults_of("src/box/a.h", text))

    def test_refuses_a_header_that_leans_on_others(self):
        faults = self.faults_of("src/box/a.h", "#pragma once\ninline std::vector<int> v;\n")
        self.assertIn("box/a.h does not compile alone", faults[0])

    def test_refuses_a_header_without_a_guard(self):
        self.assertEqual(1, len(self.faults_of("src/box/a.h", "struct A {};\n")))

    def test_refuses_warnings(self):
        text = "#pragma once\ninline char Cut(int a) { return a; }\n"
        self.assertEqual(1, len(self.faults_of("src/box/a.h", text)))

    def test_gives_the_flat_functions_to_the_c_compiler(self):
        self.assertEqual([], self.faults_of("src/merge/m4lm.h", "#pragma once\nint f(void);\n"))
        faults = self.faults_of("src/merge/m4lm.h", "#pragma once\nint f(int& a);\n")
        self.assertEqual(1, len(faults))

    def test_refuses_to_find_nothing(self):
        self.assertNotEqual([], headers.check(self.root, CXX, C))


class LimitCheck(HouseCheck):
    def setUp(self):
        super().setUp()
        self.write("tests/box/a_test.cpp", "TEST_F(Box, IsRead) {}\nTYPED_TEST(Table, Ends) {}\n")

    def faults_of(self, text):
        self.write("docs/limits.md", text)
        return limits.check(self.root)

    def test_passes_names_of_tests(self):
        self.assertEqual([], self.faults_of("`E_BAD_DATA` in `Box.IsRead`, `Table.Ends`\n"))

    def test_refuses_a_name_without_a_test(self):
        self.assertEqual(1, len(self.faults_of("`Box.IsRead`, `Box.IsWritten`\n")))

    def test_refuses_to_find_nothing(self):
        self.assertEqual(1, len(self.faults_of("none\n")))


class MessageCheck(HouseCheck):
    LISTED = 'CLIPCHAIN_MESSAGE(kCutOff, "cut-off", Severity::kRisk)\n'
    HEAD = "| name | what it says | cause | remedy |\n|---|---|---|---|\n"
    ROW = "| `cut-off` | It ends. | A copy. | Copy it. |\n"

    def faults_of(self, listed, page, tests="kCutOff kPutOff kCut"):
        self.write("src/workflow/messages.inc", listed)
        self.write("docs/messages.md", self.HEAD + page)
        self.write("tests/a_test.cpp", tests)
        return messages.check(self.root)

    def test_passes_a_message_that_is_explained(self):
        self.assertEqual([], self.faults_of(self.LISTED, self.ROW))

    def test_refuses_a_message_without_a_test(self):
        faults = self.faults_of(self.LISTED, self.ROW, "kCutOffElsewhere")
        self.assertEqual(["src/workflow/messages.inc: no test knows cut-off"], faults)
        self.assertEqual([], self.faults_of(self.LISTED, self.ROW, '{"cut-off", 1}'))

    def test_refuses_a_number_that_is_not_the_programs(self):
        self.write("src/workflow/plan_file.h", "size_t kLargestPlan = std::size_t{64} << 20;")
        listed = 'CLIPCHAIN_MESSAGE(kPlanInvalid, "plan-invalid", Severity::kRisk)\n'
        row = "| `plan-invalid` | More than 64 MiB. | A copy. | Copy it. |\n"
        self.assertEqual([], self.faults_of(listed, row, "kPlanInvalid"))
        self.assertEqual(1, len(self.faults_of(listed, row.replace("64", "32"), "kPlanInvalid")))

    def test_passes_a_message_over_several_lines(self):
        listed = 'CLIPCHAIN_MESSAGE(kCutOff,\n    "cut-off", Severity::kRisk)\n'
        self.assertEqual([], self.faults_of(listed, self.ROW))

    def test_refuses_a_message_without_a_row(self):
        listed = self.LISTED + self.LISTED.replace("Cut", "Put").replace("cut", "put")
        self.assertEqual(
            ["docs/messages.md: put-off is not explained"], self.faults_of(listed, self.ROW)
        )

    def test_refuses_a_row_without_a_message(self):
        page = self.ROW + self.ROW.replace("cut", "put")
        self.assertEqual(
            ["docs/messages.md: there is no message put-off"], self.faults_of(self.LISTED, page)
        )

    def test_refuses_what_is_there_twice(self):
        self.assertEqual(1, len(self.faults_of(self.LISTED * 2, self.ROW)))
        self.assertEqual(1, len(self.faults_of(self.LISTED, self.ROW * 2)))

    def test_refuses_an_empty_cell_and_a_missing_one(self):
        for row in ("| `cut-off` | It ends. | A copy. | |\n", "| `cut-off` | It ends. | A copy. |\n"):
            self.assertEqual(1, len(self.faults_of(self.LISTED, row)))

    def test_passes_a_bar_inside_a_cell(self):
        row = "| `cut-off` | It ends. | A\\|B. | Copy it. |\n"
        self.assertEqual([], self.faults_of(self.LISTED, row))

    def test_refuses_a_name_that_is_not_the_identifiers(self):
        listed = self.LISTED.replace("kCutOff", "kCut")
        self.assertEqual(1, len(self.faults_of(listed, self.ROW)))

    def test_refuses_a_message_of_another_form(self):
        listed = self.LISTED + "CLIPCHAIN_MESSAGE(kPutOff, kName, Severity::kRisk)\n"
        self.assertEqual(1, len(self.faults_of(listed, self.ROW)))

    def test_refuses_to_find_nothing(self):
        self.assertNotEqual([], self.faults_of("", ""))


class ExportCheck(unittest.TestCase):
    KEPT = ["CFWSetEOF", "MP4G::CMp4LiveMerge_Factory::CreateInstance(_GUID, void**)"]

    def faults_of(self, symbols):
        return list(exports.faults(symbols, self.KEPT))

    def test_passes_what_the_list_says(self):
        self.assertEqual([], self.faults_of(self.KEPT))

    def test_refuses_what_the_list_does_not_say(self):
        for symbol in ("MP4G::CBox::CBox()", "std::vector<int>::size()", "CFWSetEOF2"):
            self.assertEqual([f"{exports.NEW}: {symbol}"], self.faults_of([*self.KEPT, symbol]))

    def test_misses_what_is_hidden(self):
        for symbol in self.KEPT:
            rest = [other for other in self.KEPT if other != symbol]
            self.assertEqual([f"{exports.GONE}: {symbol}"], self.faults_of(rest))

    def test_the_list_speaks_of_the_doors(self):
        kept = exports.LIST.read_text(encoding="utf-8").splitlines()
        for symbol in ("m4lm_createHandle", "CFWCreateFile", *self.KEPT):
            self.assertIn(symbol, kept)


if __name__ == "__main__":
    if len(sys.argv) == 3:
        C, CXX = sys.argv.pop(), sys.argv.pop()
    unittest.main()
