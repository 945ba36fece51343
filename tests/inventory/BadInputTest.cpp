// The inventory program: what it refuses.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <random>
#include <string>

#include "tests/inventory/Support.h"

namespace InventoryTests {

namespace {

TEST_F(InventoryTest, RefusesAFolderThatIsNone) {
    Write("file", "");
    MakeDir("closed");
    ASSERT_EQ(0, ::chmod((tree + "closed").c_str(), 0));
    dir.Write("in.xml", DocumentOf(""));
    const struct {
        std::string folder;
        std::string message;
    } cases[] = {
        {dir / "missing", dir / "missing: No such file or directory"},
        {tree + "file", tree + "file: Not a directory"},
        {tree + "closed", tree + "closed: Permission denied"},
        {"", "the name of the folder is empty"},
    };
    for (const auto& [folder, message] : cases) {
        for (const Strings& arguments :
             {Strings{"create", folder, out},
              Strings{"verify", folder, dir / "in.xml"},
              Strings{"copy", dir / "in.xml", folder, dir / "copies"}}) {
            const Result result = RunInventory(arguments, AsOrdinaryUser());
            EXPECT_EQ(2, result.status) << result;
            EXPECT_EQ("", result.out);
            EXPECT_EQ("inventory: " + message + "\n", result.err);
        }
    }
    ExpectBeside({"in.xml"});
    ::chmod((tree + "closed").c_str(), 0700);  // To be removable.
}

TEST_F(InventoryTest, RefusesADocumentThatCannotBeRead) {
    dir.Write("locked.xml", DocumentOf(""));
    ASSERT_EQ(0, ::chmod((dir / "locked.xml").c_str(), 0));
    const struct {
        const char* name;
        const char* message;
    } cases[] = {
        {"missing.xml", "missing.xml: No such file or directory"},
        {"locked.xml", "locked.xml: Permission denied"},
        {"tree", "tree: Is a directory"},
    };
    for (const auto& [name, message] : cases) {
        for (const Strings& arguments :
             {Strings{"verify", tree, dir / name}, Strings{"show", dir / name},
              Strings{"copy", dir / name, tree, dir / "copies"}}) {
            const Result result = RunInventory(arguments, AsOrdinaryUser());
            EXPECT_EQ(2, result.status) << result;
            EXPECT_EQ("", result.out);
            EXPECT_TRUE(Contains(result.err, message)) << result;
        }
    }
    ExpectBeside({"locked.xml"});
}

// Each row changes one thing in a good document.
const struct TamperedCase {
    int line;
    const char* part;
    const char* by;
    const char* message;
} kTamperedCases[] = {
    // line     part   by   message

    // The document as XML.
    {__LINE__, "</inventory>", "", "well-formed"},
    {__LINE__, "<entry", "<entry <", "well-formed"},
    {__LINE__, " size=\"10\"", " size=\"10\" size=\"10\"", "well-formed"},
    {__LINE__, " size=\"10\"", " size=10", "well-formed"},
    {__LINE__, "<entry", "<entry \x1B[31m", "well-formed"},
    {__LINE__, "<entry", "\x1B]0;title\x07<entry", "well-formed"},
    {__LINE__, "path=\"a\"", "path=\"a\x1B[2Jb\"", "well-formed"},
    {__LINE__, "<entry",
     "<\xC2\x9B"
     "31m",
     "well-formed"},
    {__LINE__, "path=\"a\"", "path=\"\x01\"", "well-formed"},
    {__LINE__, "path=\"a\"", "path=\"\xFF\"", "well-formed"},
    {__LINE__, "path=\"a\"", "path=\"&undefined;\"", "well-formed"},
    {__LINE__, " encoding=\"UTF-8\"", "", "declares a known encoding"},
    {__LINE__, "\"UTF-8\"?", "\"NONE\"?", "declares a known encoding"},
    {__LINE__, "?>\n", "?><!DOCTYPE inventory [<!ENTITY e \"x\">]>\n",
     "document type"},

    // The root element.
    {__LINE__, "?>\n", "?><stock/><!--\n", "well-formed"},
    {__LINE__, "<inventory version=\"1\"", "<inventory",
     "the attribute version is missing"},
    {__LINE__, "version=\"1\"", "version=\"2\"", "of another version than 1"},
    {__LINE__, "version=\"1\"", "version=\"1\" more=\"\"",
     "the attribute more does not belong"},
    {__LINE__, " charset=\"UTF-8\"", "", "the attribute charset is missing"},

    // Elements.
    {__LINE__, "<entry", "<item", "element 1: not an entry alone"},
    {__LINE__, "created=\"3\"/>", "created=\"3\"><entry/></entry>",
     "element 1: not an entry alone"},
    {__LINE__, "<entry", "<entry more=\"\"",
     "the attribute more does not belong there"},
    {__LINE__, "<entry", "<entry xmlns:n=\"u\" n:path=\"b\"",
     "the attribute path is there twice"},

    // Identifiers.
    {__LINE__, " id=\"00000000-0000-4000-8000-000000000001\"", "",
     "the attribute id is missing"},
    {__LINE__, "00000000-0000-4000-8000-000000000000", "",
     "the id '' is no identifier"},
    {__LINE__, "00000000-0000-4000-8000-000000000001", "0123",
     "element 1: the id '0123' is no identifier"},
    {__LINE__, "00000000-0000-4000-8000-000000000001",
     "00000000-0000-4000-8000-00000000000x", "is no identifier"},
    {__LINE__, "00000000-0000-4000-8000-000000000001",
     "00000000-0000-0000-0000-000000000000", "is no identifier"},
    {__LINE__, "00000000-0000-4000-8000-000000000001",
     "00000000-0000-4000-8000-000000000001x", "is no identifier"},
    {__LINE__, "00000000-0000-4000-8000-000000000001",
     "{00000000-0000-4000-8000-000000000001}", "is no identifier"},
    {__LINE__, "00000000-0000-4000-8000-000000000001",
     "00000000-0000-4000-8000-00000000000A", "is no identifier"},
    {__LINE__, "00000000-0000-4000-8000-000000000002",
     "00000000-0000-4000-8000-000000000001",
     "element 2: the id '00000000-0000"
     "-4000-8000-000000000001' is there twice"},

    // Paths.
    {__LINE__, " path=\"a\"", "", "the attribute path is missing"},
    {__LINE__, "path=\"a\"", "path=\"\"", "the path '' is not one below"},
    {__LINE__, "path=\"a\"", "path=\"/a\"", "'/a' is not one below a folder"},
    {__LINE__, "path=\"a\"", "path=\"a/\"", "'a/' is not one below a folder"},
    {__LINE__, "path=\"a\"", "path=\"a//b\"", "is not one below a folder"},
    {__LINE__, "path=\"a\"", "path=\".\"", "is not one below a folder"},
    {__LINE__, "path=\"a\"", "path=\"..\"", "is not one below a folder"},
    {__LINE__, "path=\"a\"", "path=\"../a\"", "is not one below a folder"},
    {__LINE__, "path=\"a\"", "path=\"a/../b\"", "is not one below a folder"},
    {__LINE__, "path=\"a\"", "path=\"a/.\"", "is not one below a folder"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"../a\"", "is not one below"},
    {__LINE__, "path=\"a\"", "path=\"d\"", "the path 'd' is there twice"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"d\"", "the path 'd' is there"},
    {__LINE__, "path=\"a\"", "path=\"a\" pathEscaped=\"a\"",
     "the attribute path does not belong"},
    {__LINE__, "path=\"a\"", "path=\"a&#10;b\"",
     "'a%0Ab' should have been escaped"},
    {__LINE__, "path=\"a\"", "path=\"a&#x85;\"", "should have been escaped"},

    // Escaped forms.
    {__LINE__, "path=\"a\"", "pathEscaped=\"\"", "the path '' is not one"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%0\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%0G\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%G0\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%0a\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"% 1\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%00\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%41\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"%2F\"", "is not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"\xC3\xA9\"", "not well escaped"},
    {__LINE__, "path=\"a\"", "pathEscaped=\"a&#10;\"", "not well escaped"},
    {__LINE__, "target=\"t\"", "targetEscaped=\"%\"",
     "the target '%25' is not well escaped"},

    // Types and what belongs to them.
    {__LINE__, " type=\"file\"", "", "the attribute type is missing"},
    {__LINE__, "type=\"file\"", "type=\"\"", "the type '' is unknown"},
    {__LINE__, "type=\"file\"", "type=\"File\"", "the type 'File' is unknown"},
    {__LINE__, "type=\"file\"", "type=\"link\"",
     "the attribute target is missing"},
    {__LINE__, "type=\"file\"", "type=\"unreadable\"", "does not belong there"},
    {__LINE__, " target=\"t\"", "", "the attribute target is missing"},
    {__LINE__, "type=\"file\"", "type=\"file\" target=\"t\"",
     "the attribute target does not belong there"},
    {__LINE__, "type=\"file\"", "type=\"file\" contents=\"unreadable\"",
     "the attribute contents does not belong there"},
    {__LINE__, "contents=\"unreadable\"", "contents=\"\"",
     "contents '' is unknown"},

    // Digests.
    {__LINE__, "\"3\"/>", "\"3\" md5=\"\"/>", "md5 '' is no digest"},
    {__LINE__, "\"3\"/>", "\"3\" md5=\"d41d8cd98f00b204e9800998ecf8427\"/>",
     "md5 'd41d8cd98f00b204e9800998ecf8427' is no digest"},
    {__LINE__, "\"3\"/>", "\"3\" md5=\"d41d8cd98f00b204e9800998ecf8427e0\"/>",
     "is no digest"},
    {__LINE__, "\"3\"/>", "\"3\" md5=\"D41D8CD98F00B204E9800998ECF8427E\"/>",
     "is no digest"},
    {__LINE__, "\"3\"/>", "\"3\" md5=\"d41d8cd98f00b204e9800998ecf8427g\"/>",
     "is no digest"},
    {__LINE__, "\"3\"/>",
     "\"3\" md5=\"&#x85;41d8cd98f00b204e9800998ecf8427e\"/>",
     "md5 '%C2%8541d8cd98f00b204e9800998ecf8427e' is no digest"},
    {__LINE__, "\"6\" contents",
     "\"6\" md5=\"d41d8cd98f00b204e9800998ecf8427e\" contents",
     "element 2: the attribute md5 does not belong there"},
    {__LINE__, "\"9\" target",
     "\"9\" md5=\"d41d8cd98f00b204e9800998ecf8427e\" target",
     "element 3: the attribute md5 does not belong there"},

    // Numbers.
    {__LINE__, " size=\"10\"", "", "the attribute size is missing"},
    {__LINE__, "size=\"10\"", "size=\"\"", "size '' is no number"},
    {__LINE__, "size=\"10\"", "size=\"-1\"", "size '-1' is no number"},
    {__LINE__, "size=\"10\"", "size=\"+1\"", "is no number"},
    {__LINE__, "size=\"10\"", "size=\" 1\"", "is no number"},
    {__LINE__, "size=\"10\"", "size=\"1 \"", "is no number"},
    {__LINE__, "size=\"10\"", "size=\"01\"", "is no number"},
    {__LINE__, "size=\"10\"", "size=\"1.5\"", "is no number"},
    {__LINE__, "size=\"10\"", "size=\"0x10\"", "is no number"},
    {__LINE__, "size=\"10\"", "size=\"18446744073709551616\"", "is no number"},
    {__LINE__, " modified=\"1\"", "", "the attribute modified is missing"},
    {__LINE__, "modified=\"1\"", "modified=\"x\"", "modified 'x' is no number"},
    {__LINE__, "modified=\"1\"", "modified=\"-0\"", "is no number"},
    {__LINE__, "modified=\"1\"", "modified=\"9223372036854775808\"",
     "is no number"},
    {__LINE__, " changed=\"2\"", "", "the attribute changed is missing"},
    {__LINE__, "changed=\"2\"", "changed=\"\"", "changed '' is no number"},
    {__LINE__, " created=\"3\"", "", "the attribute created is missing"},
    {__LINE__, "created=\"3\"", "created=\"3 \"", "created '3 ' is no number"},
};

std::string GoodDocument() {
    return DocumentOf(
        FileElement(1, "a", "10") + "<entry id=\"" + Identifier(2) +
        "\" path=\"d\" type=\"folder\" size=\"4096\" modified=\"-5\" "
        "changed=\"5\" created=\"6\" contents=\"unreadable\"/>\n<entry id=\"" +
        Identifier(3) +
        "\" path=\"l\" type=\"link\" size=\"1\" modified=\"7\" "
        "changed=\"8\" created=\"9\" target=\"t\"/>\n<entry id=\"" +
        Identifier(4) + "\" pathEscaped=\"x%0A%25\" type=\"unreadable\"/>\n");
}

TEST_F(InventoryTest, ReadsTheDocumentThatTheTamperedOnesComeFrom) {
    dir.Write("in.xml", GoodDocument());
    const Result result = RunInventory({"verify", tree, dir / "in.xml"});
    EXPECT_EQ(1, result.status) << result;
    EXPECT_EQ(
        "removed  a\nremoved  d\nremoved  l\nremoved  x%0A%25\n"
        "0 added, 4 removed, 0 changed, 0 the same\n",
        result.out);
    EXPECT_EQ(0, RunInventory({"show", dir / "in.xml"}).status);
}

TEST_F(InventoryTest, RefusesTamperedDocuments) {
    for (const TamperedCase& row : kTamperedCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        const std::string in =
            dir.Write("in.xml", Replaced(GoodDocument(), row.part, row.by));
        for (const Strings& arguments :
             {Strings{"verify", tree, in}, Strings{"show", in},
              Strings{"copy", in, tree, dir / "copies"}}) {
            const Result result = RunInventory(arguments);
            EXPECT_EQ(2, result.status) << result;
            EXPECT_EQ("", result.out);
            EXPECT_TRUE(Contains(result.err, "inventory: " + in + ": "))
                << result;
            EXPECT_TRUE(Contains(result.err, row.message)) << result;
            EXPECT_EQ(1U, Lines(result.err).size()) << result;
            EXPECT_TRUE(IsHarmless(result.err)) << result;
        }
    }
    ExpectBeside({"in.xml"});
}

TEST_F(InventoryTest, RefusesForeignDocuments) {
    const std::string wide("\xFF\xFE<\0?\0x\0m\0l\0/\0>\0", 16);
    const struct {
        int line;
        std::string document;
        std::string message;
    } cases[] = {
        {__LINE__, "", "well-formed"},
        {__LINE__, "no XML", "well-formed"},
        {__LINE__, std::string(100, '\0'), "well-formed"},
        {__LINE__, wide, ""},
        {__LINE__, "<?xml version=\"1.0\" encoding=\"UTF-8\"?><html/>",
         "no inventory: its root element is 'html'"},
        {__LINE__, "<?xml version=\"1.0\" encoding=\"UTF-8\"?><inventory/>",
         "the attribute version is missing"},
        // What the locale's character set gives other bytes.
        {__LINE__,
         Replaced(DocumentOf(FileElement(1, "caf\xC3\xA9", "1")),
                  "charset=\"UTF-8\"", "charset=\"EUC-KR\""),
         "was in the character set EUC-KR; this locale's is UTF-8"},
        {__LINE__,
         Replaced(DocumentOf(FileElement(1, "caf\xE9", "1")),
                  "encoding=\"UTF-8\"", "encoding='ISO-8859-1'"),
         "needs a document in UTF-8"},
        {__LINE__,
         Replaced(DocumentOf(FileElement(1, "caf&#233;", "1")),
                  "encoding=\"UTF-8\"", "encoding = \"US-ASCII\""),
         "has no form"},
    };
    for (const auto& [line, document, message] : cases) {
        SCOPED_TRACE(testing::Message() << "row at line " << line);
        const std::string in = dir.Write("in.xml", document);
        const Result result = RunInventory({"verify", tree, in});
        EXPECT_EQ(2, result.status) << result;
        EXPECT_EQ("", result.out);
        EXPECT_TRUE(Contains(result.err, "inventory: " + in + ": ")) << result;
        EXPECT_TRUE(Contains(result.err, message)) << result;
        EXPECT_EQ(1U, Lines(result.err).size()) << result;
        EXPECT_TRUE(IsHarmless(result.err)) << result;
    }
}

// A key, say, in the place of the document.
TEST_F(InventoryTest, ShowsNothingOfWhatIsNoDocument) {
    const std::string key = dir.Write("key", std::string(32, 'a') + '\n');
    const Result result = RunInventory({"show", key});
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("inventory: " + key +
                  ": no XML document that is well-formed and declares a known "
                  "encoding\n",
              result.err);
}

// XmlReader leaves a name as it was when it cannot convert the next one.
TEST_F(InventoryTest, DoesNotTakeAnElementOfAnUnknownNameForAnEntry) {
    const std::string in =
        dir.Write("in.xml", DocumentOf(FileElement(1, "a", "1") +
                                       Replaced(FileElement(2, "b", "1"),
                                                "entry", "entr\xC3\xA9")));
    for (const char* const locale : {"C", "C.UTF-8"}) {
        const Result result = RunInventory({"show", in}, In(locale));
        EXPECT_EQ(2, result.status) << result;
        EXPECT_TRUE(Contains(result.err, "element 2: not an entry alone"))
            << result;
    }
}

TEST_F(InventoryTest, SurvivesDamagedDocuments) {
    const unsigned int seed = 20240229;
    std::mt19937 random(seed);
    const std::string good = GoodDocument();
    for (int i = 0; i < 100; ++i) {
        std::string damaged = good;
        for (int j = 0; j < 3; ++j) {
            damaged[random() % damaged.size()] =
                static_cast<char>(random() % 256);
        }
        const Result result =
            RunInventory({"show", dir.Write("in.xml", damaged)});
        EXPECT_TRUE(result.status == 0 || result.status == 2)
            << "seed " << seed << ", round " << i << ": " << result;
        EXPECT_EQ(result.status == 2, result.out.empty());
        EXPECT_EQ(result.status == 2 ? 1U : 0U, Lines(result.err).size())
            << result;
        EXPECT_TRUE(IsHarmless(result.err)) << result;
    }
}

}  // namespace

}  // namespace InventoryTests
