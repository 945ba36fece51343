// The inventory program: its command line, and a large folder.

#include <gtest/gtest.h>

#include <csignal>
#include <map>
#include <set>
#include <string>

#include "tests/inventory/Support.h"

namespace InventoryTests {

namespace {

// The command line

const struct HelpCase {
    int line;
    Strings arguments;
    const char* start;
} kHelpCases[] = {
    // line     arguments                start of what is printed
    {__LINE__, {"--help"}, "Usage: inventory create"},
    {__LINE__, {"-h"}, "Usage: inventory create"},
    {__LINE__, {"help"}, "Usage: inventory create"},
    {__LINE__, {"help", "help"}, "Usage: inventory create"},
    {__LINE__, {"help", "--help"}, "Usage: inventory create"},
    {__LINE__,
     {"create", "--help"},
     "Usage: inventory create FOLDER OUT.xml [--digest] [--encoding NAME]\n"},
    {__LINE__,
     {"verify", "--help"},
     "Usage: inventory verify FOLDER IN.xml [--digest] [--seal KEYFILE]\n"},
    {__LINE__, {"show", "--help"}, "Usage: inventory show IN.xml"},
    {__LINE__,
     {"copy", "--help"},
     "Usage: inventory copy IN.xml FOLDER TARGET"},
    {__LINE__, {"help", "create"}, "Usage: inventory create FOLDER OUT.xml"},
    {__LINE__, {"help", "verify"}, "Usage: inventory verify FOLDER IN.xml"},
    {__LINE__, {"--help", "show"}, "Usage: inventory show IN.xml"},
    {__LINE__, {"help", "copy"}, "Usage: inventory copy IN.xml FOLDER TARGET"},
    {__LINE__, {"show", "-h"}, "Usage: inventory show IN.xml"},

    // Among arguments, which are then not looked at.
    {__LINE__, {"verify", "x", "-h", "y", "z"}, "Usage: inventory verify"},
};

TEST_F(InventoryTest, PrintsHelp) {
    std::set<std::string> texts;
    for (const HelpCase& row : kHelpCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const Result result = RunInventory(row.arguments);
        EXPECT_EQ(0, result.status) << result;
        EXPECT_EQ(0U, result.out.find(row.start)) << result;
        EXPECT_TRUE(Contains(result.out, "Exit status:"));
        EXPECT_EQ("", result.err);
        texts.insert(result.out);
    }
    EXPECT_EQ(5U, texts.size());  // The general one and one for each verb.

    // Whoever looks for an option or a signal finds it.
    const std::map<std::string, Strings> options = {
        {"create", {"--color", "--digest", "--encoding", "--resume", "--seal"}},
        {"verify", {"--color", "--digest", "--seal"}},
        {"show", {"--chart", "--color", "--seal"}},
        {"copy", {"--color", "--seal"}},
    };
    for (const auto& [verb, names] : options) {
        for (const std::string& name : names) {
            EXPECT_TRUE(
                Contains(RunInventory({verb, "--help"}).out, "\n  " + name))
                << verb << " " << name;
        }
    }
    for (const Strings& arguments : {Strings{"help"}, Strings{"help", "create"},
                                     Strings{"help", "copy"}}) {
        EXPECT_TRUE(Contains(RunInventory(arguments).out, "SIGINT"));
    }
}

TEST_F(InventoryTest, PrintsTheUsageAsAnErrorWithoutArguments) {
    const Result result = RunInventory({});
    EXPECT_EQ(2, result.status) << result;
    EXPECT_EQ("", result.out);
    EXPECT_EQ(0U, result.err.find("Usage: inventory create")) << result;
}

const struct ArgumentCase {
    int line;
    Strings arguments;
    const char* message;
} kArgumentCases[] = {
    // line     arguments                           message
    {__LINE__, {"make"}, "unknown verb 'make'"},
    {__LINE__, {""}, "unknown verb ''"},
    {__LINE__, {"mak\x1B[1me"}, "unknown verb 'mak%1B[1me'"},
    {__LINE__, {"--create"}, "unknown verb '--create'"},
    {__LINE__, {"help", "make"}, "unknown verb 'make'"},
    {__LINE__, {"help", "show", "show"}, "help takes one verb"},
    {__LINE__, {"help", "--encoding", "x"}, "help takes no --encoding"},
    {__LINE__, {"create"}, "create takes a folder and a document"},
    {__LINE__, {"create", "a"}, "create takes a folder and a document"},
    {__LINE__, {"create", "a", "b", "c"}, "was given 3 arguments"},
    {__LINE__, {"verify", "a"}, "verify takes a folder and a document"},
    {__LINE__, {"show"}, "show takes one document"},
    {__LINE__, {"show", "a", "b"}, "show takes one document"},
    {__LINE__, {"copy"}, "copy takes a document, a folder and a target"},
    {__LINE__, {"copy", "a", "b"}, "was given 2 arguments"},
    {__LINE__, {"copy", "a", "b", "c", "d"}, "was given 4 arguments"},
    {__LINE__, {"copy", "a", "b", "c", "--force"}, "unknown option '--force'"},
    {__LINE__,
     {"copy", "a", "b", "c", "--encoding=x"},
     "copy takes no --encoding"},
    {__LINE__, {"show", "--all", "a"}, "unknown option '--all'"},
    {__LINE__, {"show", "-a"}, "unknown option '-a'"},
    {__LINE__, {"create", "a", "b", "--encodings=x"}, "unknown option"},
    {__LINE__, {"create", "a", "b", "--encoding"}, "--encoding needs a name"},
    {__LINE__,
     {"create", "a", "b", "--encoding", "x", "--encoding=y"},
     "--encoding is given twice"},
    {__LINE__,
     {"verify", "a", "b", "--encoding=x"},
     "verify takes no --encoding"},
    {__LINE__, {"show", "b", "--encoding=x"}, "show takes no --encoding"},
    {__LINE__, {"show", "b", "--digest"}, "show takes no --digest"},
    {__LINE__, {"copy", "a", "b", "c", "--digest"}, "copy takes no --digest"},
    {__LINE__, {"help", "--digest"}, "help takes no --digest"},
    {__LINE__, {"create", "a", "b", "--digest=md5"}, "unknown option"},
    {__LINE__, {"show", "--", "--help", "b"}, "was given 2 arguments"},
    {__LINE__, {"create", "a", "b", "--seal"}, "--seal needs a file"},
    {__LINE__,
     {"show", "b", "--seal=x", "--seal", "y"},
     "--seal is given twice"},
    {__LINE__, {"create", "a", "b", "--resume"}, "--resume goes with --digest"},
    {__LINE__,
     {"create", "a", "b", "--digest", "--resume", "--seal=x"},
     "--resume does not go with --seal"},
    {__LINE__, {"verify", "a", "b", "--resume"}, "verify takes no --resume"},
    {__LINE__,
     {"show", "b", "--color=red"},
     "--color is auto, always or never"},
    {__LINE__, {"show", "b", "--color="}, "never, and not ''"},
    {__LINE__, {"show", "b", "--color"}, "--color needs auto, always or never"},
    {__LINE__, {"show", "b", "--chart"}, "--chart needs a file behind it"},
    {__LINE__, {"verify", "a", "b", "--chart=x"}, "verify takes no --chart"},
    {__LINE__, {"help", "--color=never"}, "help takes no --color"},
    {__LINE__, {"help", "--seal=x"}, "help takes no --seal"},
};

TEST_F(InventoryTest, RefusesArgumentsThatMakeNoSense) {
    for (const ArgumentCase& row : kArgumentCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        Setting setting;
        setting.folder = dir.Path();
        const Result result = RunInventory(row.arguments, setting);
        EXPECT_EQ(2, result.status) << result;
        EXPECT_EQ("", result.out);
        EXPECT_TRUE(Contains(result.err, row.message)) << result;
        EXPECT_TRUE(Contains(result.err, "try 'inventory help'")) << result;
        EXPECT_TRUE(IsHarmless(result.err));
    }
    ExpectBeside({});
}

TEST_F(InventoryTest, TakesOptionsAnywhereAndNamesThatLookLikeThem) {
    dir.Write("tree/a", "1");
    dir.MakeDir("--help");
    dir.Write("--help/b", "22");
    Setting setting;
    setting.folder = dir.Path();

    Result result = RunInventory(
        {"create", "--encoding=US-ASCII", "tree", "out.xml"}, setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_TRUE(Contains(Content(out), "encoding=\"US-ASCII\""));
    EXPECT_EQ(1U, EntriesOf(Content(out)).count("a"));

    result = RunInventory(
        {"create", "tree", "--encoding", "ISO-8859-1", "out.xml"}, setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_TRUE(Contains(Content(out), "encoding=\"ISO-8859-1\""));

    result = RunInventory({"create", "--", "--help", "-"}, setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ(1U, EntriesOf(Content(dir / "-")).count("b"));

    result =
        RunInventory({"create", "--digest", "--", "tree", "--digest"}, setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ(1U, EntriesOf(Content(dir / "--digest")).at("a").count("md5"));

    // "-" is a file like any other, and not standard input.
    result = RunInventory({"verify", "--", "--help", "-"}, setting);
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ(0, RunInventory({"show", "-"}, setting).status);
}

TEST_F(InventoryTest, RefusesALocaleThatIsNotThere) {
    for (const Strings& arguments :
         {Strings{"--help"}, Strings{}, Strings{"create", tree, out}}) {
        const Result result = RunInventory(arguments, In("xx_NOWHERE.UTF-8"));
        EXPECT_EQ(2, result.status) << result;
        EXPECT_EQ("", result.out);
        EXPECT_TRUE(Contains(result.err, "locale")) << result;
    }
    ExpectBeside({});
}

// The system's own

// Sanitizers slow the program down by an order of magnitude: a part will do.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
const char* const kSystemFolder = "/usr/share/doc/";
#else
const char* const kSystemFolder = "/usr/share/";
#endif

TEST_F(InventoryTest, MakesAndVerifiesTheInventoryOfUsrShare) {
    tree = kSystemFolder;
    const std::string document = Create();
    const Result verified = Verify();
    EXPECT_EQ(0, verified.status)
        << "did another process change " << tree << "? " << verified;
    const Strings identifiers = IdentifiersOf(document);
    EXPECT_EQ(
        identifiers.size(),
        std::set<std::string>(identifiers.begin(), identifiers.end()).size());
    EXPECT_EQ(PathsIn(tree).size() + 1, identifiers.size());
    const Result shown = RunInventory({"show", out});
    EXPECT_EQ(0, shown.status) << shown;
    EXPECT_TRUE(
        Contains(shown.out, std::to_string(identifiers.size() - 1) + "  "));
}

}  // namespace

}  // namespace InventoryTests
