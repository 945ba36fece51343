// The inventory program: the chart, read as XML by the library and xmllint.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Bases/XmlDoc.h"
#include "tests/inventory/Support.h"
#include "tests/support/GlobalLocale.h"

namespace InventoryTests {

namespace {

// An element of the picture with its text and what is in it.
struct Node {
    std::string name;
    std::string text;
    Attributes attributes;
    std::vector<Node> inner;

    // Of the elements in it, those of that name.
    std::vector<const Node*> All(const std::string& wanted) const {
        std::vector<const Node*> found;
        for (const Node& node : inner) {
            if (node.name == wanted) {
                found.push_back(&node);
            }
        }
        return found;
    }
};

Node Read(Novu::XmlReader& reader, Novu::XmlReader::Element* element) {
    Node node;
    reader.GetElement(element, node.name);
    reader.GetEntity(element, node.text);
    for (auto* attribute = reader.GetFirstAttribute(element);
         attribute != nullptr; attribute = reader.NextAttribute(attribute)) {
        std::string name;
        std::string value;
        EXPECT_EQ(1, reader.GetAttribute(attribute, name, value));
        node.attributes[name] = value;
    }
    for (auto* child = reader.ChildElement(element, nullptr); child != nullptr;
         child = reader.NextElement(child, nullptr)) {
        node.inner.push_back(Read(reader, child));
    }
    return node;
}

struct Bar {
    std::string kind;
    std::string title;
    std::string label;
    std::string value;
    double x;
    double width;
    double end;  // Of the value's text, at 7.9 units a character.
};

class ChartTest : public InventoryTest {
protected:
    ChartTest() : chart(dir / "chart.svg") {}

    // Of the tree, as it is.
    std::vector<Bar> Draw(const Setting& setting = Setting()) {
        Create(setting);
        const Result plain = RunInventory({"show", out}, setting);
        const Result result =
            RunInventory({"show", out, "--chart", chart}, setting);
        EXPECT_EQ(0, result.status) << result;
        EXPECT_EQ(plain.out, result.out);
        EXPECT_EQ("", result.err);
        ExpectGoodXml(chart);
        return BarsOf();
    }

    std::vector<Bar> BarsOf() {
        Novu::XmlReader reader;
        EXPECT_EQ(1, reader.Load(chart));
        picture = Read(reader, reader.GetRootElement());
        std::vector<Bar> bars;
        for (const Node* group : picture.All("g")) {
            const Node& box = *group->All("rect").at(0);
            const Node& label = *group->All("text").at(0);
            const Node& value = *group->All("text").at(1);
            bars.push_back({box.attributes.at("class"),
                            group->All("title").at(0)->text, label.text,
                            value.text, std::stod(box.attributes.at("x")),
                            std::stod(box.attributes.at("width")),
                            std::stod(value.attributes.at("x")) +
                                7.9 * static_cast<double>(value.text.size())});
        }
        return bars;
    }

    // Changed so many days ago.
    void WriteAged(const std::string& path, off_t size, double days) {
        Write(path, "");
        std::filesystem::resize_file(tree + path,
                                     static_cast<std::uintmax_t>(size));
        timespec time{};
        ::clock_gettime(CLOCK_REALTIME, &time);
        time.tv_sec -= static_cast<time_t>(days * 86400);
        const timespec times[] = {time, time};
        ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree + path).c_str(), times, 0));
    }

    NovuTest::GlobalLocale locale{"C.UTF-8"};  // That the reader reads in.
    std::string chart;
    Node picture;
};

TEST_F(ChartTest, HasBarsOfTheBytes) {
    WriteAged("a.txt", 3000, 0.5);
    WriteAged("b.txt", 2000, 3);
    WriteAged("c.png", 10000000, 20);
    WriteAged("d.png", 2000000, 60);
    WriteAged("e", 1500000, 200);
    WriteAged("f.", 500000, 400);
    WriteAged("g.zip", 7500001, 5000);
    WriteAged("h.zip", 0, -100);  // In the time to come.
    MakeDir("folder.txt");        // Has bytes, too, which do not count.
    Link("link.txt", "a.txt");
    const std::vector<Bar> bars = Draw();

    const double all = 3000 + 2000 + 12000000 + 2000000 + 7500001;
    const struct {
        const char* kind;
        const char* label;
        int files;
        double bytes;
        const char* value;
    } expected[] = {
        {"extension", "png", 2, 12000000, "11 MiB, 55.8 %"},
        {"extension", "zip", 2, 7500001, "7,324 KiB, 34.9 %"},
        {"extension", "(none)", 2, 2000000, "1,953 KiB, 9.3 %"},
        {"extension", "txt", 2, 5000, "5,000 B, 0.0 %"},
        {"age", "under a day", 2, 3000, "3,000 B, 0.0 %"},
        {"age", "under a week", 1, 2000, "2,000 B, 0.0 %"},
        {"age", "under a month", 1, 10000000, "9,766 KiB, 46.5 %"},
        {"age", "under a quarter", 1, 2000000, "1,953 KiB, 9.3 %"},
        {"age", "under a year", 1, 1500000, "1,465 KiB, 7.0 %"},
        {"age", "a year and more", 2, 8000001, "7,813 KiB, 37.2 %"},
    };
    ASSERT_EQ(std::size(expected), bars.size());
    std::map<std::string, double> largest = {{"extension", 12000000},
                                             {"age", 10000000}};
    double sum = 0;
    for (std::size_t i = 0; i < bars.size(); ++i) {
        const auto& row = expected[i];
        SCOPED_TRACE(row.label);
        EXPECT_EQ(row.kind, bars[i].kind);
        EXPECT_EQ(row.label, bars[i].label);
        EXPECT_EQ(row.value, bars[i].value);
        EXPECT_EQ(std::string(row.label) + ": " + std::to_string(row.files) +
                      (row.files == 1 ? " file, " : " files, ") +
                      std::to_string(static_cast<long long>(row.bytes)) +
                      " bytes",
                  bars[i].title);
        EXPECT_NEAR(330 * row.bytes / largest[row.kind], bars[i].width, 0.006);
        sum += bars[i].kind == "age" ? row.bytes : 0;
    }
    EXPECT_EQ(all, sum);
    std::set<double> starts;
    for (const Bar& bar : bars) {
        starts.insert(bar.x);
    }
    EXPECT_EQ(1U, starts.size());
}

// An hour on each side of where an age ends.
TEST_F(ChartTest, EndsAgesWhereTheyEnd) {
    const double ends[] = {1, 7, 30, 91, 365};
    off_t size = 1;
    for (const double end : ends) {
        WriteAged(std::to_string(size), size, end - 1 / 24.0);
        size *= 2;
        WriteAged(std::to_string(size), size, end + 1 / 24.0);
        size *= 2;
    }
    Strings titles;
    for (const Bar& bar : Draw()) {
        if (bar.kind == "age") {
            titles.push_back(bar.title);
        }
    }
    EXPECT_EQ((Strings{"under a day: 1 file, 1 byte",
                       "under a week: 2 files, 6 bytes",
                       "under a month: 2 files, 24 bytes",
                       "under a quarter: 2 files, 96 bytes",
                       "under a year: 2 files, 384 bytes",
                       "a year and more: 1 file, 512 bytes"}),
              titles);
}

TEST_F(ChartTest, SaysWhatItIs) {
    Write("a.txt", "12345");
    Draw();
    EXPECT_EQ("svg", picture.name);
    EXPECT_EQ("img", picture.attributes.at("role"));
    EXPECT_EQ("title desc", picture.attributes.at("aria-labelledby"));
    ASSERT_EQ(1U, picture.All("title").size());
    ASSERT_EQ(1U, picture.All("desc").size());
    EXPECT_EQ("title", picture.All("title")[0]->attributes.at("id"));
    EXPECT_EQ("desc", picture.All("desc")[0]->attributes.at("id"));
    EXPECT_EQ("title", picture.inner.at(0).name);
    EXPECT_NE("", picture.All("title")[0]->text);
    EXPECT_NE("", picture.All("desc")[0]->text);
    EXPECT_TRUE(Contains(picture.All("style").at(0)->text,
                         "prefers-color-scheme: dark"));
    EXPECT_EQ("1 file, 5 B", picture.All("text").at(1)->text);
    // Nothing is asked of the network.
    const std::string content = Content(chart);
    EXPECT_FALSE(Contains(content, "href")) << content;
    EXPECT_FALSE(Contains(content, "url(")) << content;
}

TEST_F(ChartTest, IsDrawnOfNothing) {
    const std::vector<Bar> bars = Draw();
    ASSERT_EQ(6U, bars.size());
    for (const Bar& bar : bars) {
        EXPECT_EQ(0, bar.width);
        EXPECT_EQ("0 B, 0.0 %", bar.value);
    }
}

TEST_F(ChartTest, EndsAfterEightExtensions) {
    for (int i = 0; i < 20; ++i) {
        Write("a.e" + std::to_string(i + 10),
              std::string(static_cast<std::size_t>(100 - i), 'x'));
    }
    const std::vector<Bar> bars = Draw();
    ASSERT_EQ(8U + 1 + 6, bars.size());
    EXPECT_EQ("e17", bars[7].label);
    EXPECT_EQ("(others)", bars[8].label);
    // 92 to 81, in twelve.
    EXPECT_EQ("(others): 12 files, 1038 bytes", bars[8].title);
    EXPECT_NEAR(330, bars[8].width, 0.006);
    EXPECT_NEAR(330 * 93 / 1038.0, bars[7].width, 0.006);
}

TEST_F(ChartTest, HoldsEveryName) {
    std::set<std::string> names;
    for (const std::string& name : OddNames()) {
        // Eight at a time, since no more are drawn.
        const std::string extension = name.substr(name.rfind('.') + 1);
        Write("f." + extension.substr(0, 250), "1");
        names.insert(extension);
        if (names.size() % 8 == 0 || name == OddNames().back()) {
            const std::vector<Bar> bars = Draw();
            for (const Bar& bar : bars) {
                EXPECT_FALSE(bar.label.empty());
                EXPECT_TRUE(IsHarmless(bar.label + bar.title));
                EXPECT_EQ(std::string::npos, bar.label.find('\n'));
            }
            std::filesystem::remove_all(tree);
            std::filesystem::create_directory(tree);
        }
    }
}

TEST_F(ChartTest, HasLabelsThatFit) {
    std::string ideographs;
    for (int i = 0; i < 30; ++i) {
        ideographs += "\xE6\xBC\xA2";
    }
    const struct {
        std::string extension;
        std::string label;
    } cases[] = {
        {std::string(21, 'W'), std::string(21, 'W')},
        {std::string(22, 'W'), std::string(18, 'W') + "..."},
        {std::string(200, 'W'), std::string(18, 'W') + "..."},
        // Nine of two columns each.
        {ideographs, ideographs.substr(0, 27) + "..."},
        {"x" + ideographs, "x" + ideographs.substr(0, 24) + "..."},
        {"<b>&amp;\"'</b>", "<b>&amp;\"'</b>"},
        {"a\x1B[31mb", "a%1B[31mb"},
    };
    for (const auto& [extension, label] : cases) {
        // A name can end in "/b>", but no file name has a "/".
        std::string name = extension;
        std::replace(name.begin(), name.end(), '/', '|');
        std::string shown = label;
        std::replace(shown.begin(), shown.end(), '/', '|');
        std::filesystem::remove_all(tree);
        std::filesystem::create_directory(tree);
        Write("f." + name, "1");
        EXPECT_EQ(shown, Draw().at(0).label);
    }
    // The longest value behind the longest bar.
    std::filesystem::remove_all(tree);
    std::filesystem::create_directory(tree);
    WriteAged("f.txt", 10485759, 1);
    const std::vector<Bar> bars = Draw();
    EXPECT_EQ("10,240 KiB, 100.0 %", bars.at(0).value);
    for (const Bar& bar : bars) {
        EXPECT_LE(bar.end, std::stod(picture.attributes.at("width")) - 10);
    }
}

TEST_F(ChartTest, ReadsTheSameInEveryLocale) {
    Write("a.txt", "123");
    Write("b.png", "12");
    const std::vector<Bar> bars = Draw(In("C"));
    EXPECT_NEAR(220, bars.at(1).width, 0.006);
    Write("c.\xC3\xA9", "1234");
    EXPECT_EQ("%C3%A9", Draw(In("C")).at(0).label);
    EXPECT_EQ("\xC3\xA9", Draw().at(0).label);
}

TEST_F(ChartTest, ReplacesNoInventoryAndNothingButAFile) {
    Write("a.txt", "123");
    Create();
    const std::string document = Content(out);
    std::filesystem::create_hard_link(out, dir / "same");
    for (const std::string& path : {out, dir / "./out.xml", dir / "same"}) {
        const Result result = RunInventory({"show", out, "--chart", path});
        EXPECT_EQ(2, result.status);
        EXPECT_EQ("", result.out);
        EXPECT_EQ(
            "inventory: " + path + ": the chart would replace the inventory\n",
            result.err);
    }
    EXPECT_EQ(document, Content(out));
    dir.Write("target", "as it was");
    std::filesystem::create_symlink("target", dir / "link");
    EXPECT_EQ(2, RunInventory({"show", out, "--chart", dir / "link"}).status);
    EXPECT_EQ(2, RunInventory({"show", out, "--chart", tree}).status);
    EXPECT_EQ(2,
              RunInventory({"show", out, "--chart", dir / "no/c.svg"}).status);
    EXPECT_EQ("as it was", Content(dir / "target"));

    dir.Write("chart.svg", "as it was");
    Setting setting;
    setting.fileSize = 1000;
    const Result full = RunInventory({"show", out, "--chart", chart}, setting);
    EXPECT_EQ(2, full.status);
    EXPECT_TRUE(Contains(full.err, chart + ": only 1000 of ")) << full;
    EXPECT_EQ("as it was", Content(chart));
    EXPECT_EQ(0, RunInventory({"show", out, "--chart", chart}).status);
    EXPECT_EQ(7U, BarsOf().size());
    ExpectBeside({"out.xml", "same", "target", "link", "chart.svg"});
}

}  // namespace

}  // namespace InventoryTests
