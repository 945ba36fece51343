// The picture, from Chart.h.

#include "Chart.h"

#include <Bases/XmlDoc.h>

#include <algorithm>
#include <cmath>

#include "Failure.h"
#include "Files.h"
#include "Output.h"
#include "Totals.h"
#include "Width.h"

namespace Inventory {

namespace {

// Of the picture, in its units.
const int kWidth = 720;
const int kMargin = 24;
const int kRow = 26;
const int kBarHeight = 16;
const int kLabelEnd = 196;
const int kBarStart = 206;
const int kLongestBar = 330;  // What is behind it needs the rest.

const std::size_t kMostExtensions = 8;
const std::size_t kLabelColumns = 21;  // Of about 7.9 units each.

// For light pages and dark ones.
const char kStyle[] = R"(
text { font: 13px ui-monospace, Menlo, Consolas, "DejaVu Sans Mono", monospace;
       fill: #24292f; }
.title { font-size: 17px; font-weight: bold; }
.head { font-weight: bold; }
.label { text-anchor: end; }
.value { fill: #57606a; }
.page { fill: #ffffff; stroke: #d0d7de; }
.extension { fill: #3572b0; }
.age { fill: #2e8b62; }
@media (prefers-color-scheme: dark) {
  text { fill: #e6edf3; }
  .value { fill: #9aa4af; }
  .page { fill: #0d1117; stroke: #30363d; }
  .extension { fill: #5a9bdc; }
  .age { fill: #4fb387; }
}
)";

// "1 file", "2 files".
std::string Counted(unsigned long long count, const std::string& what) {
    return std::to_string(count) + " " + what + (count != 1 ? "s" : "");
}

// Two decimals, behind a point in every locale.
std::string Decimal(long long hundredths) {
    const long long part = hundredths % 100;
    return std::to_string(hundredths / 100) + (part < 10 ? ".0" : ".") +
           std::to_string(part);
}

// An SVG document, in memory. All operations throw Failure.
class Picture {
public:
    explicit Picture(int height) {
        Require(writer.BeginDocument("UTF-8"));
        Begin("svg");
        Set("xmlns", "http://www.w3.org/2000/svg");
        Set("width", std::to_string(kWidth));
        Set("height", std::to_string(height));
        Set("viewBox",
            "0 0 " + std::to_string(kWidth) + " " + std::to_string(height));
        Set("role", "img");
        Set("aria-labelledby", "title desc");
        Break();
    }

    void Begin(const std::string& name) { Require(writer.BeginElement(name)); }
    void Set(const std::string& name, const std::string& value) {
        Require(writer.WriteAttribute(name, value));
    }
    void Write(const std::string& text) { Require(writer.WriteEntity(text)); }
    void End() {
        Require(writer.EndElement());
        Break();
    }

    // An element with a text and an id or class.
    void Element(const std::string& name, const std::string& attribute,
                 const std::string& value, const std::string& text) {
        Begin(name);
        Set(attribute, value);
        Write(text);
        End();
    }

    void Text(const char* kind, int x, int y, const std::string& text) {
        Begin("text");
        Set("class", kind);
        Set("x", std::to_string(x));
        Set("y", std::to_string(y));
        Write(text);
        End();
    }

    void Box(const char* kind, int x, int y, const std::string& width,
             int height, int round) {
        Begin("rect");
        Set("class", kind);
        Set("x", std::to_string(x));
        Set("y", std::to_string(y));
        Set("width", width);
        Set("height", std::to_string(height));
        Set("rx", std::to_string(round));
        End();
    }

    void Save(const std::string& path) {
        Require(writer.EndElement());
        Require(writer.EndDocument());
        unsigned long size = 0;
        writer.GetXmlBuffer(size);
        PutAt(path, size, [this](const std::string& name) {
            return writer.Save(name) == 1;
        });
    }

private:
    static void Require(int written) {
        if (written == 0) {
            throw Failure("the chart cannot be written in memory");
        }
    }
    void Break() { Require(writer.WriteEntity("\n")); }

    Novu::XmlWriter writer;
};

// Of a part of the picture with so many bars.
int HeightOf(std::size_t bars) {
    return kRow * (static_cast<int>(bars) + 1) + kMargin;
}

// Draws a heading at `y` and the bars below it.
void DrawBars(Picture& picture, int y, const char* kind,
              const std::string& heading, const NamedTotals& totals) {
    picture.Text("head", kMargin, y, heading);
    const Total whole = SumOf(totals);
    unsigned long long largest = 1;
    for (const auto& [name, total] : totals) {
        largest = std::max(largest, total.bytes);
    }
    for (const auto& [name, total] : totals) {
        y += kRow;
        const double share =
            static_cast<double>(total.bytes) / static_cast<double>(largest);
        const long long width = std::llround(share * kLongestBar * 100);
        picture.Begin("g");
        picture.Element("title", "class", "name",
                        name + ": " + Counted(total.entries, "file") + ", " +
                            Counted(total.bytes, "byte"));
        picture.Text("label", kLabelEnd, y, CutTo(kLabelColumns, name));
        picture.Box(kind, kBarStart, y - kBarHeight + 4, Decimal(width),
                    kBarHeight, 2);
        picture.Text("value",
                     kBarStart + static_cast<int>(width / 100) + kMargin / 3, y,
                     RoundSize(total.bytes) + ", " + ShareOf(total, whole));
        picture.End();
    }
}

}  // namespace

void DrawChart(const std::vector<Entry>& entries, long long now,
               const std::string& path) {
    const NamedTotals extensions = TotalsByExtension(entries, kMostExtensions);
    const NamedTotals ages = TotalsByAge(entries, now);
    const Total all = SumOf(ages);
    const int top = 96;
    const int second = top + HeightOf(extensions.size());
    const int height = second + HeightOf(ages.size()) - kRow / 2;

    Picture picture(height);
    picture.Element("title", "id", "title", "Space by extension and by age");
    picture.Element("desc", "id", "desc",
                    "The bytes of the files of an inventory: a bar for each of "
                    "the largest extensions of their names, and a bar for each "
                    "span of time since they were last changed.");
    picture.Begin("style");
    picture.Write(kStyle);
    picture.End();
    picture.Box("page", 0, 0, std::to_string(kWidth), height, 8);
    picture.Text("title", kMargin, 36, "Space by extension and by age");
    picture.Text("value", kMargin, 58,
                 Counted(all.entries, "file") + ", " + RoundSize(all.bytes));
    DrawBars(picture, top, "extension", "Extensions", extensions);
    DrawBars(picture, second, "age", "Last changed", ages);
    picture.Save(path);
}

}  // namespace Inventory
