// The inventory program of examples/inventory, run from end to end: each test
// makes a folder, calls the program as a user would, and looks at its exit
// status, at what it prints and at the document, which xmllint reads as well.

#ifndef NOVU_BASES_TESTS_INVENTORY_SUPPORT_H_
#define NOVU_BASES_TESTS_INVENTORY_SUPPORT_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <linux/capability.h>
#include <sys/prctl.h>
#endif

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"

namespace InventoryTests {

using NovuTest::TempDir;
using Strings = std::vector<std::string>;

// Running programs

inline const std::chrono::seconds kDeadline(50);

// How a program is run.
struct Setting {
    std::string locale = "C.UTF-8";
    bool dropPrivileges = false;  // Root shall have no more than an owner.
    bool onTerminal = false;      // Standard error is a terminal.
    unsigned short columns = 0;   // Of the terminal; 0: it does not say.
    Strings variables = {};       // Of the environment, beside the usual.
    int output = -1;              // Standard output; -1: it is captured.
    rlim_t fileSize = RLIM_INFINITY;
    rlim_t openFiles = RLIM_INFINITY;
    std::string folder = "/";        // To run in.
    bool ignoresInterrupts = false;  // SIGINT and SIGHUP, as in the background.

    // What is done while it runs, and before its output is read: standard error
    // can be read from `error`. False: it has not come to that.
    std::function<bool(pid_t program, int error)> meanwhile;
};

struct Result {
    int status = -1;  // The exit status; -1 for any other end.
    std::string end;  // What other end it was.
    std::string out;
    std::string err;
};

inline std::ostream& operator<<(std::ostream& stream, const Result& result) {
    return stream << "status " << result.status << " " << result.end
                  << "\nout: " << result.out.substr(0, 4000)
                  << "\nerr: " << result.err.substr(0, 4000);
}

class Descriptor {
public:
    explicit Descriptor(int open = -1) : number(open) {}
    Descriptor(Descriptor&& other) noexcept : number(other.number) {
        other.number = -1;
    }
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor() { Close(); }
    void Close() {
        if (number != -1) {
            ::close(number);
            number = -1;
        }
    }
    int Number() const { return number; }

private:
    int number;
};

struct Channel {
    Descriptor reading;
    Descriptor writing;
};

// Not for the program: it would keep a pipe open that it does not know.
inline Descriptor CloseOnExec(int open) {
    if (open == -1 || ::fcntl(open, F_SETFD, FD_CLOEXEC) == -1) {
        throw std::runtime_error("no pipe or terminal");
    }
    return Descriptor(open);
}

inline Channel MakePipe() {
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0) {
        throw std::runtime_error("no pipe");
    }
    return {CloseOnExec(ends[0]), CloseOnExec(ends[1])};
}

inline Channel MakeTerminal(unsigned short columns) {
    Descriptor master = CloseOnExec(::posix_openpt(O_RDWR | O_NOCTTY));
    if (::grantpt(master.Number()) != 0 || ::unlockpt(master.Number()) != 0) {
        throw std::runtime_error("no terminal");
    }
    Descriptor slave =
        CloseOnExec(::open(::ptsname(master.Number()), O_RDWR | O_NOCTTY));
    winsize size{};
    size.ws_col = columns;
    if (::ioctl(slave.Number(), TIOCSWINSZ, &size) != 0) {
        throw std::runtime_error("no terminal of that size");
    }
    return {std::move(master), std::move(slave)};
}

// The program starts with these variables and no others.
inline Strings EnvironmentFor(const Setting& setting) {
    Strings variables = {"LC_ALL=" + setting.locale};
    for (const char* const name : {"PATH", "ASAN_OPTIONS", "LSAN_OPTIONS",
                                   "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
        if (const char* const value = std::getenv(name)) {
            variables.push_back(std::string(name) + "=" + value);
        }
    }
    variables.insert(variables.end(), setting.variables.begin(),
                     setting.variables.end());
    return variables;
}

inline std::vector<char*> PointersTo(Strings& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

inline bool Limit(decltype(RLIMIT_FSIZE) resource, rlim_t most) {
    const rlimit limits{most, most};
    return most == RLIM_INFINITY || ::setrlimit(resource, &limits) == 0;
}

// Root's programs may then read and write only what their owner may.
inline bool DropPrivileges() {
#ifdef __linux__
    return ::getuid() != 0 ||
           (::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE) == 0 &&
            ::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH) == 0);
#else
    return ::getuid() != 0;
#endif
}

// What the signals do does not depend on how the tests were started.
inline bool SetSignals(bool ignoreInterrupts) {
    sigset_t none;
    return ::sigemptyset(&none) == 0 &&
           ::sigprocmask(SIG_SETMASK, &none, nullptr) == 0 &&
           std::signal(SIGINT, ignoreInterrupts ? SIG_IGN : SIG_DFL) !=
               SIG_ERR &&
           std::signal(SIGHUP, ignoreInterrupts ? SIG_IGN : SIG_DFL) !=
               SIG_ERR &&
           std::signal(SIGTERM, SIG_DFL) != SIG_ERR;
}

// What stands between fork and exec; false ends the child.
inline bool Prepare(const Setting& setting, int output, int error) {
    return ::dup2(output, STDOUT_FILENO) != -1 &&
           ::dup2(error, STDERR_FILENO) != -1 &&
           ::chdir(setting.folder.c_str()) == 0 &&
           Limit(RLIMIT_FSIZE, setting.fileSize) &&
           Limit(RLIMIT_NOFILE, setting.openFiles) &&
           SetSignals(setting.ignoresInterrupts) &&
           (!setting.dropPrivileges || DropPrivileges());
}

// Reads until all ends are closed. False when that takes too long.
inline bool ReadAll(const std::vector<std::pair<int, std::string*>>& sources) {
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    std::vector<pollfd> waiting;
    for (const auto& [descriptor, text] : sources) {
        waiting.push_back({descriptor, POLLIN, 0});
    }
    std::size_t open = sources.size();
    while (open != 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        if (left.count() <= 0 || ::poll(waiting.data(), waiting.size(),
                                        static_cast<int>(left.count())) <= 0) {
            return false;
        }
        for (std::size_t i = 0; i < waiting.size(); ++i) {
            if (waiting[i].fd == -1 || waiting[i].revents == 0) {
                continue;
            }
            char block[65536];
            const ssize_t count = ::read(waiting[i].fd, block, sizeof block);
            if (count > 0) {
                sources[i].second->append(block,
                                          static_cast<std::size_t>(count));
            } else {  // A terminal whose other end is closed answers EIO.
                waiting[i].fd = -1;
                --open;
            }
        }
    }
    return true;
}

// Runs `command`, looked up in PATH.
inline Result RunCommand(Strings command, const Setting& setting = Setting()) {
    Channel output = MakePipe();
    Channel error =
        setting.onTerminal ? MakeTerminal(setting.columns) : MakePipe();
    Strings environment = EnvironmentFor(setting);
    const std::vector<char*> arguments = PointersTo(command);
    std::vector<char*> variables = PointersTo(environment);

    const pid_t child = ::fork();
    if (child == 0) {
        if (Prepare(
                setting,
                setting.output != -1 ? setting.output : output.writing.Number(),
                error.writing.Number())) {
            // Not execvp, at which a build that counts coverage first writes
            // its counts, whatever the limits that were set.
            ::execvpe(arguments[0], arguments.data(), variables.data());
        }
        ::_exit(126);
    }
    output.writing.Close();
    error.writing.Close();

    Result result;
    const bool ended = (!setting.meanwhile ||
                        setting.meanwhile(child, error.reading.Number())) &&
                       ReadAll({{output.reading.Number(), &result.out},
                                {error.reading.Number(), &result.err}});
    if (!ended) {
        ::kill(child, SIGKILL);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!ended) {
        result.end = "(did not end in time)";
    } else if (WIFEXITED(status)) {
        result.status = WEXITSTATUS(status);
    } else {
        result.end = "(signal " + std::to_string(WTERMSIG(status)) + ")";
    }
    return result;
}

inline Result RunInventory(Strings arguments,
                           const Setting& setting = Setting()) {
    arguments.insert(arguments.begin(), NOVU_INVENTORY_PROGRAM);
    return RunCommand(std::move(arguments), setting);
}

inline Setting In(const std::string& locale) {
    Setting setting;
    setting.locale = locale;
    return setting;
}

inline Setting AsOrdinaryUser() {
    Setting setting;
    setting.dropPrivileges = true;
    return setting;
}

// Texts

inline bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

inline std::string Replaced(std::string text, const std::string& part,
                            const std::string& by) {
    const std::size_t start = text.find(part);
    EXPECT_NE(std::string::npos, start) << "no " << part << " in " << text;
    return start != std::string::npos ? text.replace(start, part.size(), by)
                                      : text;
}

inline std::string Content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

inline Strings Lines(const std::string& text) {
    Strings lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Without the blanks at its beginning.
inline std::string Trimmed(const std::string& line) {
    return line.substr(std::min(line.find_first_not_of(' '), line.size()));
}

// Nothing that commands a terminal: ASCII without control characters, or with
// the lead and continuation bytes of UTF-8 text beyond the C1 controls.
inline bool IsHarmless(const std::string& text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next =
            static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        if ((byte < 0x20 && byte != '\n') || byte == 0x7F || byte == 0xFF ||
            (byte == 0xC2 && next < 0xA0)) {
            return false;
        }
    }
    return true;
}

// Documents

// The bytes of a text in its escaped form.
inline std::string Unescaped(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') {
            bytes += static_cast<char>(
                std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            bytes += text[i];
        }
    }
    return bytes;
}

// The value of an attribute as it stands in the document, with the entities
// that libxml2 writes resolved.
inline std::string Value(const std::string& text) {
    const std::map<std::string, std::string> entities = {
        {"amp", "&"}, {"lt", "<"}, {"gt", ">"}, {"quot", "\""}};
    std::string value;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '&') {
            value += text[i];
            continue;
        }
        const std::size_t end = text.find(';', i);
        value += entities.at(text.substr(i + 1, end - i - 1));
        i = end;
    }
    return value;
}

using Attributes = std::map<std::string, std::string>;

// The attributes of the element that a line holds: name="value" pairs.
inline Attributes AttributesOf(const std::string& line) {
    Attributes attributes;
    std::size_t start = line.find(' ');
    while (start != std::string::npos && start + 1 < line.size()) {
        const std::size_t equals = line.find("=\"", start);
        if (equals == std::string::npos) {
            break;
        }
        const std::size_t end = line.find('"', equals + 2);
        attributes[line.substr(start + 1, equals - start - 1)] =
            Value(line.substr(equals + 2, end - equals - 2));
        start = end + 1;
    }
    return attributes;
}

// The document's entries by path, in bytes.
inline std::map<std::string, Attributes> EntriesOf(
    const std::string& document) {
    std::map<std::string, Attributes> entries;
    for (const std::string& line : Lines(document)) {
        if (line.rfind("<entry ", 0) == 0) {
            const Attributes attributes = AttributesOf(line);
            const auto escaped = attributes.find("pathEscaped");
            EXPECT_EQ(
                1U, attributes.count("path") + attributes.count("pathEscaped"))
                << line;
            const std::string path = escaped != attributes.end()
                                         ? Unescaped(escaped->second)
                                         : attributes.at("path");
            EXPECT_TRUE(entries.emplace(path, attributes).second) << line;
        }
    }
    return entries;
}

inline Strings PathsInOrder(const std::string& document) {
    Strings paths;
    for (const std::string& line : Lines(document)) {
        if (line.rfind("<entry ", 0) == 0) {
            paths.push_back(AttributesOf(line)["path"]);
        }
    }
    return paths;
}

// How an identifier's attribute begins.
inline const std::string kIdentifier = " id=\"";

inline Strings IdentifiersOf(const std::string& document) {
    Strings identifiers;
    for (std::size_t start = document.find(kIdentifier);
         start != std::string::npos;
         start = document.find(kIdentifier, start + 1)) {
        identifiers.push_back(document.substr(start + kIdentifier.size(), 36));
    }
    return identifiers;
}

inline std::string WithoutIdentifiers(const std::string& document) {
    std::string text;
    for (std::string line : Lines(document)) {
        const std::size_t start = line.find(kIdentifier);
        if (start != std::string::npos) {
            line.erase(start, kIdentifier.size() + 36 + 1);
        }
        text += line + "\n";
    }
    return text;
}

inline std::string Identifier(int number) {
    const std::string digits = std::to_string(number);
    return "00000000-0000-4000-8000-" + std::string(12 - digits.size(), '0') +
           digits;
}

inline std::string FileElement(int number, const std::string& path,
                               const std::string& size) {
    return "<entry id=\"" + Identifier(number) + "\" path=\"" + path +
           "\" type=\"file\" size=\"" + size +
           "\" modified=\"1\" changed=\"2\" created=\"3\"/>\n";
}

inline std::string DocumentOf(const std::string& elements) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<inventory version=\"1\" charset=\"UTF-8\" id=\"" +
           Identifier(0) + "\">\n" + elements + "</inventory>\n";
}

inline void ExpectGoodXml(const std::string& path) {
    const Result result = RunCommand({"xmllint", "--noout", path});
    EXPECT_EQ(0, result.status) << "xmllint: " << result;
    EXPECT_EQ("", result.err);
}

// The paths of all that is in a folder and can be listed, read without the
// library.
inline std::set<std::string> PathsIn(const std::string& folder) {
    std::set<std::string> paths;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(
             folder,
             std::filesystem::directory_options::skip_permission_denied)) {
        paths.insert(entry.path().native().substr(folder.size()));
    }
    return paths;
}

template <typename Map>
inline std::set<std::string> KeysOf(const Map& map) {
    std::set<std::string> keys;
    for (const auto& [key, value] : map) {
        keys.insert(key);
    }
    return keys;
}

inline std::string Milliseconds(const timespec& time) {
    return std::to_string(time.tv_sec * 1000 + time.tv_nsec / 1000000);
}

class InventoryTest : public testing::Test {
public:
    InventoryTest() : tree(dir.MakeDir("tree") + "/"), out(dir / "out.xml") {}

    // The content of the document that `create` makes of the tree.
    std::string Create(const Setting& setting = Setting(),
                       const Strings& options = {}) {
        Strings arguments = {"create", tree, out};
        arguments.insert(arguments.end(), options.begin(), options.end());
        created = RunInventory(arguments, setting);
        EXPECT_EQ(0, created.status) << created;
        ExpectGoodXml(out);
        return Content(out);
    }

    Result Verify(const Setting& setting = Setting(),
                  const Strings& options = {}) {
        Strings arguments = {"verify", tree, out};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return RunInventory(arguments, setting);
    }

    void Write(const std::string& path, const std::string& content) {
        std::ofstream(tree + path, std::ios::binary) << content;
    }
    void MakeDir(const std::string& path) {
        std::filesystem::create_directories(tree + path);
    }
    void Link(const std::string& path, const std::string& target) {
        std::filesystem::create_symlink(target, tree + path);
    }

    // Nothing but `names` is left in the folder of the tree and the document.
    void ExpectBeside(std::set<std::string> names) {
        std::set<std::string> found;
        for (const auto& entry :
             std::filesystem::directory_iterator(dir.Path())) {
            found.insert(entry.path().filename().native());
        }
        names.insert("tree");
        EXPECT_EQ(names, found);
    }

    TempDir dir;
    std::string tree;  // Ends in "/".
    std::string out;
    Result created;  // The run of the last Create.
};

// Names with each byte that a name can have, and more that is odd.
inline Strings OddNames() {
    Strings names = {
        " ",
        "two  blanks",
        "\"quoted\" 'twice'",
        "&amp;",
        "<tag>&</tag>",
        "]]>",
        "-->",
        "100%",
        "%41",
        "a\\b",
        "line\nfeed",
        "tab\tand\rreturn",
        "\x1B[31mred",
        "del\x7F",
        "caf\xC3\xA9",
        "\xED\x95\x9C\xEA\xB8\x80",  // Two Hangul syllables.
        "\xF0\x9F\x98\x80",          // Beyond 16 bits.
        "nel\xC2\x85",               // A C1 control character.
        "bom\xEF\xBB\xBF",
        "latin\xE9",
        "cut\xC3",
        "overlong\xC0\xAF",
        "surrogate\xED\xA0\x80",
        "nonchar\xEF\xBF\xBE\xEF\xBF\xBF",
        "toolarge\xF4\x90\x80\x80",
        "caf\xC3\xA9 100% \xFF",
        std::string(255, 'n'),
        std::string(85, '\xE2') + std::string(170, '\x82'),
    };
    std::string euros;
    for (int i = 0; i < 85; ++i) {
        euros += "\xE2\x82\xAC";
    }
    names.push_back(euros);
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '/') {
            names.push_back(std::to_string(byte) + static_cast<char>(byte) +
                            "x");
        }
    }
    return names;
}

// Those of them that stand as they are in a UTF-8 document, under C.UTF-8.
inline bool IsOddNamePlain(const std::string& name) {
    static const std::set<std::string> beyondAscii = {
        "caf\xC3\xA9", "\xED\x95\x9C\xEA\xB8\x80", "\xF0\x9F\x98\x80",
        "bom\xEF\xBB\xBF", OddNames()[28]};
    return beyondAscii.contains(name) ||
           std::all_of(name.begin(), name.end(),
                       [](char c) { return c >= 0x20 && c <= 0x7E; });
}

class OddNamesTest : public InventoryTest {
protected:
    OddNamesTest() {
        // As files, as folders with something in them, and as link targets.
        MakeDir("files");
        MakeDir("folders");
        MakeDir("links");
        int count = 0;
        for (const std::string& name : OddNames()) {
            Write("files/" + name, "1");
            MakeDir("folders/" + name);
            Write("folders/" + name + "/inner", "");
            Link("links/" + std::to_string(count++), name);
        }
    }

    void ExpectAllThere(const std::string& document) {
        const auto entries = EntriesOf(document);
        EXPECT_EQ(PathsIn(tree), KeysOf(entries));
        int count = 0;
        for (const std::string& name : OddNames()) {
            const Attributes& link =
                entries.at("links/" + std::to_string(count++));
            const auto plain = link.find("target");
            EXPECT_EQ(name, plain != link.end()
                                ? plain->second
                                : Unescaped(link.at("targetEscaped")));
        }
    }
};

class NoPermissionTest : public InventoryTest {
protected:
    NoPermissionTest() {
        Write("open", "1");
        MakeDir("closed/deep");  // Cannot be opened.
        Write("closed/file", "2");
        MakeDir("listed");  // Has names, but no status of them.
        Write("listed/file", "3");
        Link("listed/link", "x");
    }
    ~NoPermissionTest() override { Unlock(); }
    void Lock() {
        ASSERT_EQ(0, ::chmod((tree + "closed").c_str(), 0));
        ASSERT_EQ(0, ::chmod((tree + "listed").c_str(), 0400));
    }
    void Unlock() {
        ::chmod((tree + "closed").c_str(), 0700);
        ::chmod((tree + "listed").c_str(), 0700);
    }
};

inline std::string WithDigest(const std::string& element,
                              const std::string& md5) {
    return Replaced(element, "/>", " md5=\"" + md5 + "\"/>");
}

// All there is to compare of what is in a folder; a link is not followed.
inline std::map<std::string, std::string> StateOf(const std::string& folder,
                                                  bool withTimes) {
    std::map<std::string, std::string> states;
    for (const std::string& path : PathsIn(folder)) {
        struct stat info;
        EXPECT_EQ(0, ::lstat((folder + path).c_str(), &info)) << path;
        std::ostringstream state;
        state << std::oct << info.st_mode << " " << info.st_uid << " ";
        if (withTimes) {
            state << Milliseconds(info.st_mtim) << " "
                  << Milliseconds(info.st_ctim) << " ";
        }
        if (S_ISREG(info.st_mode)) {
            state << Content(folder + path);
        } else if (S_ISLNK(info.st_mode)) {
            state << std::filesystem::read_symlink(folder + path).native();
        }
        states[path] = state.str();
    }
    return states;
}

// Bytes of which no two blocks are alike.
inline std::string Noise(std::size_t size) {
    std::mt19937 random(20240301);
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random() % 256);
    }
    return bytes;
}

// What a terminal shows of the bytes that it got: its lines, without the
// blanks at their ends, and without colours.
inline Strings Screen(const std::string& bytes) {
    Strings lines(1);
    std::size_t column = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char c = bytes[i];
        if (bytes.compare(i, 2, "\x1B[") == 0) {
            i = std::min(bytes.find('m', i), bytes.size());
            continue;
        }
        if (c == '\r') {
            column = 0;
        } else if (c == '\n') {
            lines.emplace_back();
            column = 0;
        } else {
            std::string& line = lines.back();
            line.resize(std::max(line.size(), column + 1), ' ');
            line[column++] = c;
        }
    }
    for (std::string& line : lines) {
        line.erase(line.find_last_not_of(' ') + 1);
    }
    return lines;
}

// OpenSSL's, as hexadecimal digits.
inline std::string Md5(const std::string& content) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (EVP_Digest(content.data(), content.size(), digest, &size, EVP_md5(),
                   nullptr) != 1) {
        throw std::runtime_error("OpenSSL failed");
    }
    std::string text;
    for (unsigned int i = 0; i < size; ++i) {
        text += "0123456789abcdef"[digest[i] / 16];
        text += "0123456789abcdef"[digest[i] % 16];
    }
    return text;
}

// Asks until it is so; false when that takes too long.
inline bool WaitUntil(const std::function<bool()>& isSo) {
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (!isSo()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Adds to `text` what a pipe or a terminal holds by now.
inline void ReadSome(int descriptor, std::string& text) {
    pollfd waiting{descriptor, POLLIN, 0};
    char block[65536];
    while (::poll(&waiting, 1, 0) == 1) {
        const ssize_t count = ::read(descriptor, block, sizeof block);
        if (count <= 0) {
            return;
        }
        text.append(block, static_cast<std::size_t>(count));
    }
}

// Where in the file the process is; -1 unless it has it open.
inline long long PositionIn(const std::string& path, pid_t process) {
    const std::string wanted = std::filesystem::canonical(path).native();
    const std::string folder = "/proc/" + std::to_string(process) + "/";
    long long position = -1;
    std::error_code error;
    std::filesystem::directory_iterator next(folder + "fd", error);
    while (!error && next != std::filesystem::directory_iterator()) {
        std::error_code gone;
        if (std::filesystem::read_symlink(next->path(), gone) == wanted) {
            std::ifstream info(folder + "fdinfo/" +
                               next->path().filename().native());
            std::string word;
            long long number = -1;
            info >> word >> number;  // "pos:" and the position.
            position = std::max(position, number);
        }
        next.increment(error);
    }
    return position;
}

// Stops a program where it is, to go on with SIGCONT. False when it has ended.
inline bool Halt(pid_t program) {
    siginfo_t state;
    return ::kill(program, SIGSTOP) == 0 &&
           ::waitid(P_PID, static_cast<id_t>(program), &state,
                    WSTOPPED | WEXITED | WNOWAIT) == 0 &&
           state.si_code == CLD_STOPPED;
}

class DigestTest : public InventoryTest {
protected:
    // The entries of the document, created with digests.
    std::map<std::string, Attributes> CreateEntries(
        const Setting& setting = Setting()) {
        return EntriesOf(Create(setting, {"--digest"}));
    }

    Result VerifyDigests(const Setting& setting = Setting()) {
        return Verify(setting, {"--digest"});
    }

    // More zeros than can be read in the time that a test has.
    void WriteEndless(const std::string& path) {
        Write(path, "");
        std::filesystem::resize_file(tree + path, 1ULL << 40);
    }

    // Gives a file another content, and not another time of its last change.
    void Rewrite(const std::string& path, const std::string& content) {
        struct stat before;
        ASSERT_EQ(0, ::stat((tree + path).c_str(), &before));
        Write(path, content);
        const timespec times[] = {before.st_atim, before.st_mtim};
        ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + path).c_str(), times, 0));
    }
};

// Whether the pipe takes no more, and who writes to it waits.
inline bool IsFull(int pipe) {
    int size = 0;
    return ::ioctl(pipe, FIONREAD, &size) == 0 &&
           size > ::fcntl(pipe, F_GETPIPE_SZ) - 4096;
}

inline Channel MakeFullPipe() {
    Channel pipe = MakePipe();
    const std::string block(4096, 'x');
    while (!IsFull(pipe.reading.Number())) {
        if (::write(pipe.writing.Number(), block.data(), block.size()) <= 0) {
            throw std::runtime_error("no room in a pipe");
        }
    }
    return pipe;
}

inline bool InterruptAndGoOn(pid_t program) {
    return ::kill(program, SIGINT) == 0 && ::kill(program, SIGCONT) == 0;
}

class InterruptionTest : public DigestTest {
protected:
    InterruptionTest() { dir.Write("out.xml", "as it was"); }

    // Died of the signal, and has tidied up.
    void ExpectInterrupted(const Result& result, int signal) {
        EXPECT_EQ("(signal " + std::to_string(signal) + ")", result.end)
            << result;
        EXPECT_EQ("", result.out);
        const Strings shown = Screen(result.err);
        ASSERT_LE(2U, shown.size()) << result;
        EXPECT_EQ("inventory: interrupted", shown[shown.size() - 2]);
        EXPECT_EQ("as it was", Content(out));
    }
};

}  // namespace InventoryTests

#endif  // NOVU_BASES_TESTS_INVENTORY_SUPPORT_H_
