// The inventory program: sealed documents, which OpenSSL opens here.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/inventory/Support.h"
#include "tests/support/OpenSslSeed.h"

namespace InventoryTests {

namespace {

using Bytes = std::vector<unsigned char>;

const char* const kKey = "00112233445566778899aabbccddeeff";

// The program's cipher takes and gives the bytes of each word the other way
// round than OpenSSL's.
Bytes WordsReversed(Bytes bytes) {
    for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
        std::reverse(&bytes[i], &bytes[i] + 4);
    }
    return bytes;
}

Bytes KeyBytes(const std::string& digits) {
    Bytes bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        bytes.push_back(static_cast<unsigned char>(
            std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

Bytes Deciphered(const Bytes& bytes) {
    return WordsReversed(NovuTest::OpenSslSeed().Decrypt(
        WordsReversed(bytes), WordsReversed(KeyBytes(kKey))));
}

Bytes Enciphered(const std::string& text) {
    Bytes bytes(text.begin(), text.end());
    bytes.resize((bytes.size() + 15) / 16 * 16);
    return WordsReversed(NovuTest::OpenSslSeed().Encrypt(
        WordsReversed(bytes), WordsReversed(KeyBytes(kKey))));
}

Bytes FromBase64(const std::string& text) {
    Bytes bytes(text.size() / 4 * 3);
    if (text.size() % 4 != 0 ||
        EVP_DecodeBlock(bytes.data(),
                        reinterpret_cast<const unsigned char*>(text.data()),
                        static_cast<int>(text.size())) < 0) {
        throw std::runtime_error("no Base64: " + text);
    }
    // What the padding stands for is counted there.
    bytes.resize(bytes.size() - static_cast<std::size_t>(
                                    std::count(text.begin(), text.end(), '=')));
    return bytes;
}

std::string ToBase64(const Bytes& bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
                    static_cast<int>(bytes.size()));
    text.pop_back();
    return text;
}

std::string InLines(const std::string& text) {
    std::string lines;
    for (std::size_t i = 0; i < text.size(); i += 76) {
        lines += text.substr(i, 76) + "\n";
    }
    return lines;
}

// As the program seals it, by other means.
std::string Sealed(const std::string& document) {
    return "inventory-sealed 1\nlength " + std::to_string(document.size()) +
           "\n" + InLines(ToBase64(Enciphered(document)));
}

class SealTest : public InventoryTest {
protected:
    SealTest() : key(dir.Write("key", std::string(kKey) + "\n")) {}

    Result CreateSealed(const Strings& options = {},
                        const Setting& setting = Setting()) {
        Strings arguments = {"create", tree, out, "--seal", key};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return RunInventory(arguments, setting);
    }

    std::string key;  // Its file.
};

TEST_F(SealTest, IsOpenedByOpenSsl) {
    // Lengths of all remainders, of the cipher's blocks and of Base64's groups.
    std::set<std::size_t> remainders;
    Write("n", "");
    for (std::size_t i = 1; i <= 48; ++i) {
        const std::string before = tree + std::string(i, 'n');
        std::filesystem::rename(before, before + 'n');
        const Result result = CreateSealed();
        ASSERT_EQ(0, result.status) << result;
        EXPECT_EQ("", result.err);

        Strings lines = Lines(Content(out));
        EXPECT_EQ('\n', Content(out).back());
        ASSERT_LT(3U, lines.size());
        EXPECT_EQ("inventory-sealed 1", lines[0]);
        ASSERT_EQ(0U, lines[1].find("length "));
        const std::size_t length = std::stoul(lines[1].substr(7));
        std::string armour;
        for (std::size_t n = 2; n < lines.size(); ++n) {
            armour += lines[n];
            EXPECT_TRUE(n + 1 == lines.size() ? lines[n].size() <= 76
                                              : lines[n].size() == 76);
        }
        const Bytes plain = Deciphered(FromBase64(armour));
        ASSERT_EQ((length + 15) / 16 * 16, plain.size());
        const std::string document(plain.begin(),
                                   plain.begin() + static_cast<long>(length));
        EXPECT_EQ(
            plain.size() - length,
            static_cast<std::size_t>(std::count(
                plain.begin() + static_cast<long>(length), plain.end(), 0)));
        EXPECT_EQ(WithoutIdentifiers(Create()), WithoutIdentifiers(document));
        remainders.insert(length % 48);
        EXPECT_TRUE(Contains(result.out, "bytes of document"));
    }
    EXPECT_EQ(48U, remainders.size());
}

TEST_F(SealTest, IsReadByEveryVerb) {
    Write("a", "1");
    Write("b", "22");
    Write("caf\xC3\xA9", "333");
    MakeDir("d");
    ASSERT_EQ(0, CreateSealed({"--digest"}).status);
    const std::string plain = dir / "plain.xml";
    ASSERT_EQ(0, RunInventory({"create", tree, plain, "--digest"}).status);
    EXPECT_EQ(RunInventory({"show", plain}).out,
              RunInventory({"show", out, "--seal=" + key}).out);

    const Result copied =
        RunInventory({"copy", out, tree, dir / "copies", "--seal", key});
    EXPECT_EQ(0, copied.status) << copied;
    EXPECT_EQ("333", Content(dir / "copies/caf\xC3\xA9"));

    EXPECT_EQ(0, Verify(Setting(), {"--seal", key, "--digest"}).status);
    Write("a", "changed");
    std::filesystem::remove(tree + "b");
    const Result verified = Verify(Setting(), {"--digest", "--seal", key});
    EXPECT_EQ(1, verified.status) << verified;
    EXPECT_TRUE(Contains(verified.out, "removed  b\n")) << verified;
    EXPECT_TRUE(Contains(verified.out, "changed  a (size 1 -> 7")) << verified;
}

TEST_F(SealTest, IsReadWhoeverSealsIt) {
    const std::string document = DocumentOf(FileElement(1, "a", "10"));
    dir.Write("out.xml", Sealed(document));
    const Result result = RunInventory({"show", out, "--seal", key});
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ(RunInventory({"show", dir.Write("plain.xml", document)}).out,
              result.out);
}

TEST_F(SealTest, TakesEveryEncodingThatADocumentHas) {
    Write("a", "1");
    for (const char* const encoding :
         {"UTF-8", "US-ASCII", "ISO-8859-1", "EUC-KR"}) {
        const Result result = CreateSealed({"--encoding", encoding});
        EXPECT_EQ(0, result.status) << result;
        EXPECT_EQ(0, Verify(Setting(), {"--seal", key}).status) << encoding;
    }
}

// Keys

const struct KeyCase {
    int line;
    std::string content;
    bool isKey;
} kKeyCases[] = {
    // line     content                                        is a key
    {__LINE__, "00112233445566778899aabbccddeeff", true},
    {__LINE__, "00112233445566778899AABBCCDDEEFF\n", true},
    {__LINE__, "00112233445566778899aAbBcCdDeEfF\r\n", true},
    {__LINE__, "", false},
    {__LINE__, "\n", false},
    {__LINE__, "0123456789abcdef", false},
    {__LINE__, "00112233445566778899aabbccddeef", false},
    {__LINE__, "00112233445566778899aabbccddeef\n", false},
    {__LINE__, "00112233445566778899aabbccddeeff0", false},
    {__LINE__, "00112233445566778899aabbccddeeff\n\n", false},
    {__LINE__, "00112233445566778899aabbccddeeff ", false},
    {__LINE__, " 00112233445566778899aabbccddeeff", false},
    {__LINE__, "0x112233445566778899aabbccddeeff", false},
    {__LINE__, "g0112233445566778899aabbccddeeff", false},
    {__LINE__, "0g112233445566778899aabbccddeeff", false},
    {__LINE__, std::string(32, '\0'), false},
    {__LINE__, std::string(100000, '0'), false},
};

TEST_F(SealTest, TakesKeysOfOneForm) {
    dir.Write("in.xml", Sealed(DocumentOf("")));
    for (const KeyCase& row : kKeyCases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        dir.Write("key", row.content);
        for (const Strings& arguments :
             {Strings{"create", tree, out}, Strings{"show", dir / "in.xml"},
              Strings{"verify", tree, dir / "in.xml"},
              Strings{"copy", dir / "in.xml", tree, dir / "copies"}}) {
            Strings all = arguments;
            all.insert(all.end(), {"--seal", key});
            const Result result = RunInventory(all);
            EXPECT_EQ(row.isKey ? 0 : 2, result.status) << result;
            EXPECT_EQ(row.isKey ? ""
                                : "inventory: " + key +
                                      ": no key, which is 32 hexadecimal "
                                      "digits on a line\n",
                      result.err);
        }
        EXPECT_EQ(row.isKey, std::filesystem::remove(out));
        EXPECT_EQ(row.isKey, std::filesystem::remove_all(dir / "copies") != 0);
    }
}

TEST_F(SealTest, NamesAKeyThatCannotBeRead) {
    const Result missing =
        RunInventory({"create", tree, out, "--seal", dir / "missing"});
    EXPECT_EQ(2, missing.status);
    EXPECT_EQ(
        "inventory: " + (dir / "missing") + ": No such file or directory\n",
        missing.err);
    const Result folder = RunInventory({"create", tree, out, "--seal", tree});
    EXPECT_EQ(2, folder.status);
    EXPECT_EQ("inventory: " + tree + ": Is a directory\n", folder.err);
    ExpectBeside({"key"});
}

TEST_F(SealTest, KeepsItsKey) {
    Write("a", "1");
    dir.Write("in.xml", Sealed(DocumentOf(FileElement(1, "a", "10"))));
    const std::string content = Content(key);
    std::filesystem::create_hard_link(key, dir / "same");
    std::filesystem::create_symlink("key", dir / "link");
    const std::string in = dir / "in.xml";
    for (const std::string& from : {key, dir / "link"}) {
        for (const std::string& to : {key, dir / "./key", dir / "same"}) {
            SCOPED_TRACE(testing::Message() << from << " " << to);
            const Result create =
                RunInventory({"create", tree, to, "--seal", from});
            EXPECT_EQ(2, create.status);
            EXPECT_EQ("", create.out);
            EXPECT_EQ(
                "inventory: " + to + ": the inventory would replace the key\n",
                create.err);
            const Result show =
                RunInventory({"show", in, "--seal", from, "--chart", to});
            EXPECT_EQ(2, show.status);
            EXPECT_EQ("", show.out);
            EXPECT_EQ("inventory: " + to +
                          ": the chart would replace the "
                          "key\n",
                      show.err);
        }
    }
    // One name for what is not there yet.
    const std::string none = dir / "none";
    EXPECT_EQ(
        "inventory: " + none + ": the inventory would replace the key\n",
        RunInventory({"create", tree, none, "--seal", dir / "./none"}).err);
    EXPECT_EQ(content, Content(key));
    EXPECT_EQ(content, Content(dir / "same"));
    ExpectBeside({"key", "same", "link", "in.xml"});
}

// What does not open

TEST_F(SealTest, NeedsItsKeyAndNoOther) {
    const std::string document = DocumentOf(FileElement(1, "a", "10"));
    const std::string plain = dir.Write("plain.xml", document);
    const std::string sealed = dir.Write("sealed.xml", Sealed(document));
    const std::string other =
        dir.Write("other", "00112233445566778899aabbccddeefe");
    const struct {
        std::string in;
        Strings options;
        std::string message;
    } cases[] = {
        {sealed, {}, "is sealed, and is read with --seal KEYFILE"},
        {plain, {"--seal", key}, "is not sealed, and is read without --seal"},
        {sealed, {"--seal", other}, "is sealed with another key, or damaged"},
        {dir.Write("empty", ""),
         {"--seal", key},
         "is not sealed, and is read "
         "without --seal"},
    };
    for (const auto& [in, options, message] : cases) {
        for (const Strings& arguments :
             {Strings{"show", in}, Strings{"verify", tree, in},
              Strings{"copy", in, tree, dir / "copies"}}) {
            Strings all = arguments;
            all.insert(all.end(), options.begin(), options.end());
            const Result result = RunInventory(all);
            EXPECT_EQ(2, result.status) << result;
            EXPECT_EQ("", result.out);
            EXPECT_EQ("inventory: " + in + ": " + message + "\n", result.err);
        }
    }
    ExpectBeside({"key", "other", "plain.xml", "sealed.xml", "empty"});
}

TEST_F(SealTest, RefusesWhatIsDamaged) {
    // 4 characters are left for the last line, and the last one is "=".
    std::string document = DocumentOf(FileElement(1, "a", "10"));
    document.insert(document.find("charset"), (400 - document.size()), ' ');
    ASSERT_EQ(400U, document.size());
    const std::string good = Sealed(document);
    const std::string head = "inventory-sealed 1\nlength 400\n";
    ASSERT_EQ(0U, good.find(head));
    const std::string armour = good.substr(head.size());
    ASSERT_EQ('=', armour[armour.size() - 2]);
    const auto with = [&](std::size_t at, const std::string& text) {
        std::string changed = armour;
        return head + changed.replace(at, text.size(), text);
    };
    const std::string cut = "is cut off, or damaged: ";
    const std::string base64 = "its Base64 is damaged";
    const std::string version =
        "its first line is damaged, or of another version than 1";
    const std::string header =
        "its header is damaged: a line with the length is missing";
    const std::string length = "its length is wrong, or it is damaged";
    const struct {
        int line;
        std::string content;
        std::string message;
    } cases[] = {
        // Parts of it.
        {__LINE__, head, cut},
        {__LINE__, good.substr(0, good.size() - 1), cut},
        {__LINE__, good.substr(0, good.size() - 5), cut},
        {__LINE__, good.substr(0, head.size() + 77), cut},
        {__LINE__, good + "\n", cut},
        {__LINE__, good + good, cut},
        {__LINE__, "inventory-sealed ", version},
        {__LINE__, "inventory-sealed 1", version},
        {__LINE__, "inventory-sealed 1\n", header},
        {__LINE__, "inventory-sealed 1\nlength 400", header},

        // The header.
        {__LINE__, Replaced(good, " 1\n", " 2\n"), version},
        {__LINE__, Replaced(good, " 1\n", " 1\r\n"), version},
        {__LINE__, Replaced(good, "length", "Length"), header},
        {__LINE__, Replaced(good, "400", ""), header},
        {__LINE__, Replaced(good, "400", "0"), header},
        {__LINE__, Replaced(good, "400", "-400"), header},
        {__LINE__, Replaced(good, "400", "0400"), header},
        {__LINE__, Replaced(good, "400", "400 "), header},
        {__LINE__, Replaced(good, "400", "2147483648"), header},
        {__LINE__, Replaced(good, "400", "18446744073709551616"), header},
        {__LINE__, Replaced(good, "400", "384"), cut},
        {__LINE__, Replaced(good, "400", "401"), cut},
        {__LINE__, Replaced(good, "400", "2147483647"), cut},
        {__LINE__, Replaced(good, "400", "399"), length},
        {__LINE__, Replaced(good, "400", "385"), length},

        // Base64.
        {__LINE__, with(5, "-"), base64},
        {__LINE__, with(5, "="), base64},
        {__LINE__, with(5, " "), base64},
        {__LINE__, with(5, "\n"), base64},
        {__LINE__, with(5, std::string(1, '\0')), base64},
        {__LINE__, with(5, std::string(1, static_cast<char>(armour[5] | 0x80))),
         base64},
        {__LINE__, with(76, "A"), base64},
        {__LINE__, with(76, "\r"), base64},
        {__LINE__, with(armour.size() - 2, "A"), base64},
        {__LINE__, with(armour.size() - 1, "="), base64},

        // The first block and one in the middle.
        {__LINE__, with(5, armour[5] == 'A' ? "B" : "A"),
         "is sealed with another key, or damaged"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        dir.Write("out.xml", row.content);
        const Result result = RunInventory({"show", out, "--seal", key});
        EXPECT_EQ(2, result.status) << result;
        EXPECT_EQ("", result.out);
        EXPECT_EQ(0U, result.err.find("inventory: " + out + ": "));
        EXPECT_TRUE(Contains(result.err, row.message)) << result;
        EXPECT_EQ(1U, Lines(result.err).size());
    }

    // A whole block is not noticed where the document still reads well, which
    // the help says. Here it does not.
    dir.Write("out.xml", with(200, std::string(8, 'A')));
    const Result later = RunInventory({"show", out, "--seal", key});
    EXPECT_EQ(2, later.status) << later;
    EXPECT_EQ("", later.out);
    EXPECT_EQ(1U, Lines(later.err).size()) << later;
    EXPECT_TRUE(IsHarmless(later.err)) << later;
    dir.Write("out.xml", good);
    EXPECT_EQ(0, RunInventory({"show", out, "--seal", key}).status);

    // A document that ends in zeros would be one of another length.
    dir.Write("out.xml",
              Replaced(Sealed(document.substr(0, 399)), "399", "400"));
    const Result longer = RunInventory({"show", out, "--seal", key});
    EXPECT_TRUE(Contains(longer.err, length)) << longer;
}

// On the disk

// What stood in each file that was ever made beside the tree while the program
// ran: an open file stays readable when its name is gone.
Strings ContentsEverMade(const TempDir& dir, const Strings& arguments) {
    std::map<std::string, Descriptor> opened;
    Setting setting;
    const auto look = [&] {
        std::error_code gone;
        for (std::filesystem::directory_iterator entry(dir.Path(), gone);
             !gone && entry != std::filesystem::directory_iterator();
             entry.increment(gone)) {
            const std::string path = entry->path().native();
            if (!opened.contains(path)) {
                Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
                if (file.Number() != -1) {
                    opened.emplace(path, std::move(file));
                }
            }
        }
    };
    setting.meanwhile = [&](pid_t program, int /*error*/) {
        siginfo_t state{};
        while (state.si_pid == 0) {
            look();
            if (::waitid(P_PID, static_cast<id_t>(program), &state,
                         WEXITED | WNOHANG | WNOWAIT) != 0) {
                return false;
            }
        }
        return true;
    };
    EXPECT_EQ(0, RunInventory(arguments, setting).status);
    look();  // What was made since the last one.
    Strings contents;
    for (const auto& [path, file] : opened) {
        struct stat info;
        std::string content;
        if (::fstat(file.Number(), &info) == 0 && S_ISREG(info.st_mode)) {
            content.resize(static_cast<std::size_t>(info.st_size));
            EXPECT_EQ(info.st_size, ::pread(file.Number(), content.data(),
                                            content.size(), 0));
        }
        contents.push_back(content);
    }
    return contents;
}

TEST_F(SealTest, LeavesNoPlainCopyOnTheDisk) {
    for (int i = 0; i < 2000; ++i) {
        Write(std::to_string(i) + std::string(100, 'n'), "");
    }
    const auto isPlain = [](const std::string& content) {
        // Armour can have four of them by chance, and never fifty.
        return Contains(content, "<entry") ||
               Contains(content, std::string(50, 'n'));
    };
    const auto isSealed = [](const std::string& content) {
        return content.rfind("inventory-sealed 1\n", 0) == 0;
    };
    const Strings plain = ContentsEverMade(dir, {"create", tree, out});
    EXPECT_LT(0, std::count_if(plain.begin(), plain.end(), isPlain));
    std::filesystem::remove(out);
    const Strings sealed =
        ContentsEverMade(dir, {"create", tree, out, "--digest", "--seal", key});
    EXPECT_LT(0, std::count_if(sealed.begin(), sealed.end(), isSealed));
    EXPECT_EQ(0, std::count_if(sealed.begin(), sealed.end(), isPlain));
    ExpectBeside({"key", "out.xml"});
}

// One that was broken off before it was to be sealed.
TEST_F(SealTest, TellsOfAPlainJournal) {
    Write("a", "1");
    const std::string journal =
        dir.Write(".out.xml.journal", "inventory-journal 1\n");
    const Result result = CreateSealed({"--digest"});
    EXPECT_EQ(0, result.status) << result;
    EXPECT_EQ("inventory: " + journal +
                  ": is not sealed, and can have names and digests of before\n",
              result.err);
    EXPECT_EQ("inventory-journal 1\n", Content(journal));
    EXPECT_EQ("", RunInventory({"create", tree, out}).err);
    std::filesystem::remove(journal);
    EXPECT_EQ("", CreateSealed().err);
}

TEST_F(SealTest, LeavesTheOldDocumentWhereItCannotWrite) {
    for (int i = 0; i < 1000; ++i) {
        Write(std::to_string(i), "");
    }
    dir.Write("out.xml", "as it was");
    Setting setting;
    setting.fileSize = 65536;
    const Result result = CreateSealed({}, setting);
    EXPECT_EQ(2, result.status) << result;
    EXPECT_EQ("inventory: " + out + ": File too large\n", result.err);
    EXPECT_EQ("as it was", Content(out));
    ExpectBeside({"key", "out.xml"});
}

TEST_F(SealTest, IsNotOversoldInItsHelp) {
    const Result help = RunInventory({"help", "create"});
    EXPECT_TRUE(Contains(help.out, "block by block, without a vector"));
    EXPECT_TRUE(Contains(help.out, "authenticated encryption"));
}

}  // namespace

}  // namespace InventoryTests
