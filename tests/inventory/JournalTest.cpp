// The inventory program: create --digest that goes on where it was.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <thread>

#include "tests/inventory/Support.h"

namespace InventoryTests {

namespace {

class JournalTest : public DigestTest {
protected:
    JournalTest() : journal(dir / ".out.xml.journal") {
        Write("a", "first");
        Write("b", "second");
        Write("d %\n", "third");
        WriteEndless("z");
        // What has changed just now is in no journal.
        std::this_thread::sleep_for(std::chrono::milliseconds(2100));
    }

    Result Resume(const Setting& setting = Setting()) {
        return RunInventory({"create", tree, out, "--digest", "--resume"},
                            setting);
    }

    // Its owner's alone, as the program makes it.
    void WriteJournal(const std::string& content) {
        dir.Write(".out.xml.journal", content);
        ASSERT_EQ(0, ::chmod(journal.c_str(), 0600));
    }

    // Runs until the endless file is read, and then ends the program.
    void BreakOff(int signal) {
        Setting setting;
        setting.meanwhile = [&](pid_t program, int /*error*/) {
            return WaitUntil(
                       [&] { return PositionIn(tree + "z", program) > 0; }) &&
                   WaitUntil(
                       [&] { return Lines(Content(journal)).size() == 4; }) &&
                   ::kill(program, signal) == 0;
        };
        const Result result = Resume(setting);
        EXPECT_EQ("(signal " + std::to_string(signal) + ")", result.end)
            << result;
    }

    // To the end, which the endless file would have without.
    std::map<std::string, Attributes> GoOn(int resumed) {
        std::filesystem::remove(tree + "z");
        const Result result = Resume();
        EXPECT_EQ(0, result.status) << result;
        EXPECT_EQ("inventory: escaped: d %25%0A\n", result.err);
        EXPECT_TRUE(Contains(
            result.out, std::to_string(resumed) + "  digests from the journal"))
            << result;
        ExpectBeside({"out.xml"});
        ExpectGoodXml(out);
        return EntriesOf(Content(out));
    }

    // The line of a file, from what the system says of it.
    std::string LineOf(const std::string& path, const std::string& escaped,
                       const std::string& md5) {
        struct stat info;
        EXPECT_EQ(0, ::stat((tree + path).c_str(), &info));
        const auto nanoseconds = [](const timespec& time) {
            return std::to_string(time.tv_sec * 1000000000 + time.tv_nsec);
        };
        const std::string line = md5 + " " + std::to_string(info.st_size) +
                                 " " + nanoseconds(info.st_mtim) + " " +
                                 nanoseconds(info.st_ctim) + " " +
                                 std::to_string(info.st_dev) + " " +
                                 std::to_string(info.st_ino) + " " + escaped;
        return Md5(line).substr(0, 8) + " " + line + "\n";
    }

    std::string journal;
};

TEST_F(JournalTest, IsGoneOnFromWhereTheProgramWas) {
    for (const int signal : {SIGINT, SIGTERM, SIGKILL}) {
        SCOPED_TRACE(signal);
        std::filesystem::remove(out);
        WriteEndless("z");
        BreakOff(signal);
        const std::string lines = Content(journal);
        EXPECT_EQ("inventory-journal 1\n" + LineOf("a", "a", Md5("first")) +
                      LineOf("b", "b", Md5("second")) +
                      LineOf("d %\n", "d %25%0A", Md5("third")),
                  lines);
        struct stat info;
        ASSERT_EQ(0, ::stat(journal.c_str(), &info));
        EXPECT_EQ(0600U, info.st_mode & 07777);
        if (signal != SIGKILL) {
            ExpectBeside({".out.xml.journal"});
        }

        // Broken off again, it does not have them twice.
        BreakOff(SIGINT);
        EXPECT_EQ(lines, Content(journal));

        const auto entries = GoOn(3);
        EXPECT_EQ(Md5("first"), entries.at("a").at("md5"));
        EXPECT_EQ(Md5("second"), entries.at("b").at("md5"));
        EXPECT_EQ(Md5("third"), entries.at("d %\n").at("md5"));
    }
}

// Nobody could tell otherwise whether the files were read again.
TEST_F(JournalTest, SavesTheReadingOfFiles) {
    const std::string wrong(32, '5');
    WriteJournal("inventory-journal 1\n" + LineOf("b", "b", wrong));
    const auto entries = GoOn(1);
    EXPECT_EQ(Md5("first"), entries.at("a").at("md5"));
    EXPECT_EQ(wrong, entries.at("b").at("md5"));
    EXPECT_EQ(Md5("third"), entries.at("d %\n").at("md5"));
}

TEST_F(JournalTest, CountsForNoFileThatHasChanged) {
    Write("e", "a link to it changes its times");
    std::this_thread::sleep_for(std::chrono::milliseconds(2100));
    const std::string wrong(32, '5');
    const auto lines = [&] {
        return LineOf("a", "a", wrong) + LineOf("b", "b", wrong) +
               LineOf("d %\n", "d %25%0A", wrong) + LineOf("e", "e", wrong);
    };
    WriteJournal("inventory-journal 1\n" + lines());
    Rewrite("a", "FIRST");  // The same size and modified.
    Write("b", "another size");
    std::filesystem::rename(tree + "d %\n", tree + "c");
    ::link((tree + "e").c_str(), (tree + "f").c_str());
    std::filesystem::remove(tree + "z");
    const Result result = Resume();
    EXPECT_EQ(0, result.status) << result;
    const auto entries = EntriesOf(Content(out));
    EXPECT_EQ(Md5("FIRST"), entries.at("a").at("md5"));
    EXPECT_EQ(Md5("another size"), entries.at("b").at("md5"));
    EXPECT_EQ(Md5("third"), entries.at("c").at("md5"));
    EXPECT_NE(wrong, entries.at("e").at("md5"));
    EXPECT_NE(wrong, entries.at("f").at("md5"));
}

// Another file of the same path, size and times.
TEST_F(JournalTest, CountsForNoOtherFileInItsPlace) {
    const std::string wrong(32, '5');
    const std::string line = LineOf("b", "b", wrong);
    struct stat info;
    ASSERT_EQ(0, ::stat((tree + "b").c_str(), &info));
    const std::string number = " " + std::to_string(info.st_ino) + " ";
    std::string other = Replaced(line.substr(9), number, " 1 ");
    other.pop_back();
    WriteJournal("inventory-journal 1\n" + Md5(other).substr(0, 8) + " " +
                 other + "\n");
    EXPECT_EQ(Md5("second"), GoOn(0).at("b").at("md5"));
}

TEST_F(JournalTest, LosesNoMoreThanWhatIsDamaged) {
    const std::string wrong(32, '5');
    const std::string a = LineOf("a", "a", wrong);
    const std::string b = LineOf("b", "b", wrong);
    const std::string d = LineOf("d %\n", "d %25%0A", wrong);
    const std::string start = "inventory-journal 1\n";
    std::string spoiled = b;
    spoiled[20] = '6';
    const auto checked = [](const std::string& text) {
        return Md5(text).substr(0, 8) + " " + text + "\n";
    };
    std::string state = a.substr(8 + 1 + 32);  // The blank, and what follows.
    state.pop_back();
    const std::string rest = state.substr(1);
    const struct {
        int line;
        std::string content;
        int count;
    } cases[] = {
        // line     content                              lines that count
        {__LINE__, "", 0},
        {__LINE__, "inventory-jour", 0},
        {__LINE__, start, 0},
        {__LINE__, start + a + b + d, 3},
        {__LINE__, start + a + b + d.substr(0, d.size() - 1), 2},
        {__LINE__, start + a + b + d.substr(0, 9), 2},
        {__LINE__, start + a + b.substr(0, 30) + d, 1},  // Run together.
        {__LINE__, start + a + spoiled + d, 2},
        {__LINE__, start + a + std::string(100, '\0') + "\n" + d, 2},
        {__LINE__, start + "\n \n12345678 \n" + a, 1},
        {__LINE__, start + a + a + a, 1},
        // What meets its check, and has no digest.
        {__LINE__, start + checked(std::string(31, '5') + "g" + state), 0},
        {__LINE__, start + checked(std::string(31, '5') + "A" + state), 0},
        {__LINE__, start + checked(std::string(32, '5') + "x" + rest), 0},
        {__LINE__, start + checked(std::string(32, '5')) + d, 1},
        {__LINE__, start + checked("") + d, 1},
    };
    // What is added is whole, wherever the journal was broken off.
    const auto whole = [&] {
        std::set<std::string> files;
        for (const std::string& line : Lines(Content(journal))) {
            if (line.size() > 42 &&
                Md5(line.substr(9)).substr(0, 8) == line.substr(0, 8)) {
                files.insert(line.substr(line.rfind(' ')));
            }
        }
        return files.size();
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        WriteJournal(row.content);
        Setting setting;
        setting.meanwhile = [&](pid_t program, int /*error*/) {
            return WaitUntil([&] { return whole() == 3; }) &&
                   ::kill(program, SIGKILL) == 0;
        };
        EXPECT_EQ("(signal 9)", Resume(setting).end);
        EXPECT_EQ(0U, Content(journal).find(start));
    }
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        WriteJournal(row.content);
        GoOn(row.count);
    }
}

TEST_F(JournalTest, HasNoFileThatChangedJustNow) {
    Write("b", "SECOND");
    Setting setting;
    setting.meanwhile = [&](pid_t program, int /*error*/) {
        // A line for "b" would stand before that one.
        return WaitUntil(
                   [&] { return Contains(Content(journal), " d %25%0A\n"); }) &&
               ::kill(program, SIGINT) == 0;
    };
    Resume(setting);
    EXPECT_TRUE(Contains(Content(journal), " a\n"));
    EXPECT_FALSE(Contains(Content(journal), " b\n"));
    EXPECT_TRUE(Contains(Content(journal), " d %25%0A\n"));
}

// It was listed with a time that its next change could have, however long ago
// that was when its turn comes.
TEST_F(JournalTest, HasNoFileThatHadChangedJustNowWhenItWasListed) {
    Write("b", "SECOND");
    // Their complaints, which come first, wait for a reader.
    for (int i = 0; i < 1000; ++i) {
        Write("\n" + std::to_string(i) + std::string(200, 'n'), "");
    }
    std::string complaints;
    Setting setting;
    setting.meanwhile = [&](pid_t program, int error) {
        if (!WaitUntil([&] { return IsFull(error); })) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2100));
        return WaitUntil([&] {
                   ReadSome(error, complaints);
                   return Contains(Content(journal), " d %25%0A\n");
               }) &&
               ::kill(program, SIGINT) == 0;
    };
    EXPECT_EQ("(signal 2)", Resume(setting).end);
    EXPECT_TRUE(Contains(Content(journal), " a\n"));
    EXPECT_FALSE(Contains(Content(journal), " b\n"));
}

TEST_F(JournalTest, IsNotUsedWhereItIsNotItsOwnersAlone) {
    std::filesystem::remove(tree + "z");
    const std::string content =
        "inventory-journal 1\n" + LineOf("b", "b", std::string(32, '5'));
    const auto expectRefused = [&] {
        const Result result = Resume();
        EXPECT_EQ(0, result.status) << result;
        const Strings lines = Lines(result.err);
        ASSERT_EQ(2U, lines.size()) << result;
        EXPECT_EQ("inventory: " + journal +
                      ": is not used, since it is not its owner's alone",
                  lines[0]);
        EXPECT_EQ(Md5("second"), EntriesOf(Content(out)).at("b").at("md5"));
        EXPECT_EQ(content, Content(journal));
    };
    for (const unsigned int mode : {0640U, 0620U, 0610U, 0604U, 0602U, 0601U}) {
        SCOPED_TRACE(mode);
        WriteJournal(content);
        ASSERT_EQ(0, ::chmod(journal.c_str(), mode));
        expectRefused();
    }
    WriteJournal(content);
    std::filesystem::create_hard_link(journal, dir / "same");
    expectRefused();
    std::filesystem::remove(dir / "same");
    // Only root can give a file away.
    if (::geteuid() == 0) {
        SCOPED_TRACE("of another owner");
        ASSERT_EQ(0, ::chown(journal.c_str(), 12345, 12345));
        expectRefused();
        ASSERT_EQ(0, ::chown(journal.c_str(), 0, 0));
    }
    EXPECT_EQ(std::string(32, '5'), GoOn(1).at("b").at("md5"));
}

TEST_F(JournalTest, IsNotMadeForAFolderThatIsNone) {
    const Result result =
        RunInventory({"create", dir / "none", out, "--digest", "--resume"});
    EXPECT_EQ(2, result.status) << result;
    ExpectBeside({});
}

TEST_F(JournalTest, IsNoEntryOfTheFolderThatItIsIn) {
    std::filesystem::remove(tree + "z");
    out = tree + "out.xml";
    const Result result = Resume();
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ((std::set<std::string>{"a", "b", "d %\n"}),
              KeysOf(EntriesOf(Content(out))));
    EXPECT_EQ((std::set<std::string>{"a", "b", "d %\n", "out.xml"}),
              PathsIn(tree));
}

TEST_F(JournalTest, IsLeftAloneWithoutTheOption) {
    std::filesystem::remove(tree + "z");
    WriteJournal("inventory-journal 1\n" +
                 LineOf("b", "b", std::string(32, '5')));
    EXPECT_EQ(Md5("second"), CreateEntries().at("b").at("md5"));
    ExpectBeside({"out.xml", ".out.xml.journal"});
}

TEST_F(JournalTest, EndsWhereTheDiskIsFull) {
    std::filesystem::remove(tree + "z");
    dir.Write("out.xml", "as it was");
    Setting setting;
    setting.fileSize = 150;  // One line, and half of the next.
    const Result result = Resume(setting);
    EXPECT_EQ(2, result.status) << result;
    const Strings lines = Lines(result.err);
    ASSERT_EQ(3U, lines.size()) << result;
    EXPECT_EQ("inventory: " + journal +
                  ": File too large; there is no more to go on from",
              lines[0]);
    EXPECT_TRUE(Contains(lines[2], out + ": only 150 of "));
    EXPECT_EQ("as it was", Content(out));
    GoOn(1);
}

TEST_F(JournalTest, IsNotMadeOfWhatElseIsThere) {
    std::filesystem::remove(tree + "z");
    const std::string message =
        "inventory: " + journal + ": something other than a journal is there\n";
    for (const char* const content :
         {"precious", "inventory-journal 2\n", "inventory-journal 1"}) {
        WriteJournal(content);
        if (std::string(content) == "inventory-journal 1") {
            EXPECT_EQ(0, Resume().status);  // Its beginning.
        } else {
            EXPECT_EQ(message, Resume().err);
            EXPECT_EQ(content, Content(journal));
        }
    }
    std::filesystem::remove(journal);
    ASSERT_EQ(0, ::mkfifo(journal.c_str(), 0600));
    EXPECT_EQ(message, Resume().err);
    std::filesystem::remove(journal);
    dir.Write("target", "");
    std::filesystem::create_symlink("target", journal);
    EXPECT_EQ(2, Resume().status);
    EXPECT_EQ("", Content(dir / "target"));
}

}  // namespace

}  // namespace InventoryTests
