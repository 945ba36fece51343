"""Which test programs scripts/mutate runs for a source, and what it changes."""

import pathlib
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "scripts" / "lib"))

import mutate

mutate.TREE = ROOT


class ProgramsTest(unittest.TestCase):

    def setUp(self):
        self.known = mutate.services()
        self.programs = mutate.all_programs()

    def programs_for(self, name):
        return mutate.programs_for(f"Bases/Impl/{name}", self.known,
                                   self.programs)

    def test_every_source_has_programs(self):
        for path in (ROOT / "Bases" / "Impl").glob("*.cpp"):
            # The fields of a stat record need the system's own header.
            if path.name != "StatTimes_mac.cpp":
                self.assertTrue(self.programs_for(path.name), path.name)

    def test_the_services_own_come_first(self):
        for name, first in (
                ("Buffer.cpp", ["BufferTest"]),
                ("Sem_linux.cpp", ["SemTest", "SemLinuxTest"]),
                ("Sem_mac.cpp", ["SemMacTest", "SemOnMacTest"]),
                ("Seed_gfni512.cpp", ["SeedTest", "SeedBlocksTest"]),
                ("Bits_popcnt.cpp", ["BitsTest", "BitsBlocksTest"]),
                ("Base64Blocks_x86.cpp", ["Base64Test", "Base64BlocksTest"])):
            self.assertEqual(first, self.programs_for(name)[:len(first)],
                             name)

    def test_what_is_private_is_tested_by_itself_too(self):
        for name, program in (("Md5_avx512.cpp", "Md5BlocksTest"),
                              ("Md5Blocks.cpp", "Md5BlocksTest"),
                              ("Md5Steps.h", "Md5BlocksTest"),
                              ("CpuFeatures_x86.cpp", "CpuFeaturesTest"),
                              ("FirstBytes_avx512.h", "Base64BlocksTest"),
                              ("FirstBytes_avx512.h", "BitsBlocksTest")):
            self.assertIn(program, self.programs_for(name), name)

    def test_what_builds_on_a_service_is_tested_with_it(self):
        self.assertIn("ThreadPoolTest", self.programs_for("Sem_posix.cpp"))
        self.assertIn("XmlDocTest", self.programs_for("tchar_posix.cpp"))
        self.assertNotIn("SemTest", self.programs_for("ThreadPool.cpp"))

    def test_a_system_is_not_tested_by_the_other_ones_programs(self):
        self.assertFalse([program for program
                          in self.programs_for("Sem_linux.cpp")
                          if "Mac" in program])
        self.assertFalse([program for program
                          in self.programs_for("Module_mac.cpp")
                          if "Mac" not in program])

    def test_programs_with_a_copy_of_their_own_are_built_anew(self):
        self.assertEqual(
            ["BitsBlocksTest", "CpuFeaturesTest", "SemMacTest",
             "SemOnMacTest"],
            mutate.linked_into(["BitsTest", "BitsBlocksTest",
                                "CpuFeaturesTest", "SemTest", "SemMacTest",
                                "SemOnMacTest"]))


class MutantsTest(unittest.TestCase):

    def changes(self, source):
        return [mutant.what for mutant in mutate.mutants_of("f", source)]

    def test_each_kind_of_change(self):
        for source, change in (
                ("bool f() { return a < b; }", "< -> <="),
                ("bool f() { return a < b; }", "return value negated"),
                ("int f() { return g(a); }", "return value emptied"),
                ("void f() { x = 5; }", "5 -> 6"),
                ("void f() { x = 5; }", "5 -> 4"),
                ("void f() { x = 0x0F; }", "0x0F -> 0x10"),
                ("void f() { g(); }", "dropped: g();"),
                ("void f() { ++x; }", "++ -> --"),
                ("void f() { x = !y; }", "! dropped"),
                ("void f() { if (a) { g(); } }", "if condition negated"),
                ("bool f() { return true; }", "true -> false"),
                ("int f() { return a ? b : c; }", "condition of ? negated")):
            self.assertIn(change, self.changes(source), source)

    def test_what_is_not_code_is_left_alone(self):
        for source in ("// a < b", "/* 5 */", "#define A 5\n",
                       'const char* s = "5 < 6";', "static_assert(1 < 2);",
                       "[[gnu::aligned(8)]] int x;",
                       "template <typename T> class C;"):
            self.assertEqual([], self.changes(source), source)

    def test_what_is_explained_is_a_mutant_still(self):
        explained = mutate.equivalents()
        self.assertTrue(explained)
        for file, change, code in explained:
            source = (ROOT / file).read_text()
            lines = source.splitlines()
            self.assertTrue(any(
                mutant.what == change
                and lines[mutant.line - 1].strip() == code
                for mutant in mutate.mutants_of(file, source)),
                f"{file}: {change}: {code}")

    def test_a_verdict_outlives_the_comments(self):
        one, other = "int x = 5;", "int x = 5;  // Five."
        keys = [list(mutate.keys_of(mutate.mutants_of("f", source),
                                    source).values())
                for source in (one, other)]
        self.assertEqual(keys[0], keys[1])
        self.assertEqual(2, len(set(keys[0])))


if __name__ == "__main__":
    unittest.main()
