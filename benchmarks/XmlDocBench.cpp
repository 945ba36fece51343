// The XML writer and reader, beside libxml2 alone, libxml2 with one iconv
// conversion for each text, and pugixml. The C locale's character set is UTF-8.
// The argument is the number of elements, each with three attributes and a
// text, all in ASCII.

#include "Bases/XmlDoc.h"

#include <benchmark/benchmark.h>
#include <iconv.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlwriter.h>
#include <stdlib.h>

#include <algorithm>
#include <cstddef>
#include <pugixml.hpp>
#include <string>

#include "Bases/Bases.h"
#include "Bases/Guid.h"
#include "benchmarks/Bench.h"

namespace {

constexpr char kUtf8[] = "UTF-8";
constexpr char kLatin1[] = "ISO-8859-1";
const char* const kTitle = "A title of some forty characters, in ASCII";
const char* const kPlace = "<here & there";

const Novu::Guid& Id() {
    static const Novu::Guid id = [] {
        Novu::Guid read;
        read.FromString("00112233-4455-6677-8899-aabbccddeeff");
        return read;
    }();
    return id;
}

// Writing

class NovuXml {
public:
    static std::string Write(const char* encoding, int elements) {
        Novu::XmlWriter writer;
        writer.BeginDocument(encoding);
        writer.BeginElement("items");
        for (int number = 0; number < elements; ++number) {
            writer.BeginElement("item");
            writer.WriteAttribute("id", Id(), 1);
            writer.WriteAttribute("number", number);
            writer.WriteAttribute("place", kPlace);
            writer.WriteEntity(kTitle);
            writer.EndElement();
        }
        writer.EndElement();
        writer.EndDocument();
        unsigned long size = 0;
        const unsigned char* const bytes = writer.GetXmlBuffer(size);
        return {reinterpret_cast<const char*>(bytes), size};
    }

    // The sum of the lengths of all that is read, as in each Sum that follows.
    static std::size_t Sum(std::string& document, const char* /*encoding*/) {
        Novu::XmlReader reader;
        reader.Load(reinterpret_cast<unsigned char*>(document.data()),
                    document.size());
        std::size_t sum = 0;
        std::string name;
        std::string text;
        for (auto* item = reader.ChildElement(reader.GetRootElement(), nullptr);
             item != nullptr; item = reader.NextElement(item, nullptr)) {
            for (auto* attribute = reader.GetFirstAttribute(item);
                 attribute != nullptr;
                 attribute = reader.NextAttribute(attribute)) {
                reader.GetAttribute(attribute, name, text);
                sum += name.size() + text.size();
            }
            reader.GetEntity(item, text);
            sum += text.size();
        }
        return sum;
    }
};

// How a peer turns a text of the document's encoding and of its own into each
// other.

class AsItIs {
public:
    AsItIs(const char* /*to*/, const char* /*from*/) {}

    const char* operator()(const char* text, std::size_t /*size*/) {
        return text;
    }
};

class ByIconv {
public:
    ByIconv(const char* to, const char* from)
        : converter(::iconv_open(to, from)) {}
    ByIconv(const ByIconv&) = delete;
    ByIconv& operator=(const ByIconv&) = delete;
    ~ByIconv() { ::iconv_close(converter); }

    const char* operator()(const char* text, std::size_t size) {
        room.resize(3 * (size + 1));
        char* in = const_cast<char*>(text);
        char* out = room.data();
        std::size_t inLeft = size + 1;
        std::size_t outLeft = room.size();
        ::iconv(converter, &in, &inLeft, &out, &outLeft);
        return room.data();
    }

private:
    iconv_t converter;
    std::string room;
};

template <typename Convert>
class LibXml2 {
public:
    static std::string Write(const char* encoding, int elements) {
        Convert convertName(encoding, kUtf8);
        Convert convertText(encoding, kUtf8);
        const auto name = [&](const std::string& text) {
            return AsXml(convertName(text.c_str(), text.size()));
        };
        const auto value = [&](const std::string& text) {
            return AsXml(convertText(text.c_str(), text.size()));
        };
        xmlBuffer* const buffer = ::xmlBufferCreate();
        xmlTextWriter* const writer = ::xmlNewTextWriterMemory(buffer, 0);
        const auto attribute = [&](const char* key, const std::string& text) {
            ::xmlTextWriterWriteAttribute(writer, name(key), value(text));
        };
        ::xmlTextWriterStartDocument(writer, nullptr, encoding, nullptr);
        ::xmlTextWriterStartElement(writer, name("items"));
        for (int number = 0; number < elements; ++number) {
            ::xmlTextWriterStartElement(writer, name("item"));
            attribute("id", Id().ToString(1));
            attribute("number", std::to_string(number));
            attribute("place", kPlace);
            ::xmlTextWriterWriteString(writer, value(kTitle));
            ::xmlTextWriterEndElement(writer);
        }
        ::xmlTextWriterEndElement(writer);
        ::xmlTextWriterEndDocument(writer);
        ::xmlFreeTextWriter(writer);
        std::string document(
            reinterpret_cast<const char*>(::xmlBufferContent(buffer)),
            static_cast<std::size_t>(::xmlBufferLength(buffer)));
        ::xmlBufferFree(buffer);
        return document;
    }

    static std::size_t Sum(const std::string& document, const char* encoding) {
        Convert convert(kUtf8, encoding);
        const auto read = [&](std::string& out, const xmlChar* text) {
            const char* const bytes = reinterpret_cast<const char*>(text);
            out = convert(bytes, std::char_traits<char>::length(bytes));
            return out.size();
        };
        xmlDoc* const parsed =
            ::xmlReadMemory(document.data(), static_cast<int>(document.size()),
                            "noname.xml", nullptr, 0);
        std::size_t sum = 0;
        std::string name;
        std::string text;
        for (const xmlNode* item = ::xmlDocGetRootElement(parsed)->children;
             item != nullptr; item = item->next) {
            for (const xmlAttr* attribute = item->properties;
                 attribute != nullptr; attribute = attribute->next) {
                sum += read(name, attribute->name);
                sum += read(text, attribute->children->content);
            }
            sum += read(text, item->children->content);
        }
        ::xmlFreeDoc(parsed);
        return sum;
    }

private:
    static const xmlChar* AsXml(const char* text) {
        return reinterpret_cast<const xmlChar*>(text);
    }
};

class PugiXml {
public:
    static std::string Write(const char* encoding, int elements) {
        pugi::xml_document document;
        pugi::xml_node declaration =
            document.append_child(pugi::node_declaration);
        declaration.append_attribute("version") = "1.0";
        declaration.append_attribute("encoding") = encoding;
        pugi::xml_node items = document.append_child("items");
        for (int number = 0; number < elements; ++number) {
            pugi::xml_node item = items.append_child("item");
            item.append_attribute("id") = Id().ToString(1).c_str();
            item.append_attribute("number") = number;
            item.append_attribute("place") = kPlace;
            item.text() = kTitle;
        }
        Text text;
        document.save(
            text, "", pugi::format_raw,
            encoding == kUtf8 ? pugi::encoding_utf8 : pugi::encoding_latin1);
        return text.bytes;
    }

    static std::size_t Sum(const std::string& document,
                           const char* /*encoding*/) {
        pugi::xml_document parsed;
        parsed.load_buffer(document.data(), document.size());
        std::size_t sum = 0;
        std::string name;
        std::string text;
        for (const pugi::xml_node item : parsed.child("items")) {
            for (const pugi::xml_attribute attribute : item.attributes()) {
                name = attribute.name();
                text = attribute.value();
                sum += name.size() + text.size();
            }
            text = item.text().get();
            sum += text.size();
        }
        return sum;
    }

private:
    struct Text : pugi::xml_writer {
        void write(const void* data, std::size_t size) override {
            bytes.append(static_cast<const char*>(data), size);
        }
        std::string bytes;
    };
};

// Peers break lines elsewhere; no text has one in it.
std::string WithoutLines(std::string document) {
    document.erase(std::remove(document.begin(), document.end(), '\n'),
                   document.end());
    return document;
}

template <typename Peer, const char* encoding>
void Write(benchmark::State& state) {
    const auto elements = static_cast<int>(state.range(0));
    static bench::Agreement agreement;
    if (!agreement.Holds(state, elements, [&] {
            return WithoutLines(Peer::Write(encoding, elements)) ==
                   WithoutLines(NovuXml::Write(encoding, elements));
        })) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(Peer::Write(encoding, elements));
    }
    state.SetItemsProcessed(state.iterations() * elements);
}

template <typename Peer, const char* encoding>
void Read(benchmark::State& state) {
    const auto elements = static_cast<int>(state.range(0));
    std::string document = NovuXml::Write(encoding, elements);
    static bench::Agreement agreement;
    if (!agreement.Holds(state, elements, [&] {
            const std::size_t sum = NovuXml::Sum(document, encoding);
            return sum > 80 * bench::Size(state) &&
                   Peer::Sum(document, encoding) == sum;
        })) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(Peer::Sum(document, encoding));
    }
    state.SetItemsProcessed(state.iterations() * elements);
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(1000)->Arg(10000)->Arg(100000);
}

BENCHMARK(Write<NovuXml, kUtf8>)->Name("WriteUtf8/Novu")->Apply(Sizes);
BENCHMARK(Write<LibXml2<AsItIs>, kUtf8>)
    ->Name("WriteUtf8/libxml2")
    ->Apply(Sizes);
BENCHMARK(Write<LibXml2<ByIconv>, kUtf8>)
    ->Name("WriteUtf8/libxml2 + iconv")
    ->Apply(Sizes);
BENCHMARK(Write<PugiXml, kUtf8>)->Name("WriteUtf8/pugixml")->Apply(Sizes);
BENCHMARK(Write<NovuXml, kLatin1>)->Name("WriteLatin1/Novu")->Apply(Sizes);
BENCHMARK(Write<LibXml2<AsItIs>, kLatin1>)
    ->Name("WriteLatin1/libxml2")
    ->Apply(Sizes);
BENCHMARK(Write<LibXml2<ByIconv>, kLatin1>)
    ->Name("WriteLatin1/libxml2 + iconv")
    ->Apply(Sizes);
BENCHMARK(Write<PugiXml, kLatin1>)->Name("WriteLatin1/pugixml")->Apply(Sizes);
BENCHMARK(Read<NovuXml, kUtf8>)->Name("ReadUtf8/Novu")->Apply(Sizes);
BENCHMARK(Read<LibXml2<AsItIs>, kUtf8>)->Name("ReadUtf8/libxml2")->Apply(Sizes);
BENCHMARK(Read<LibXml2<ByIconv>, kUtf8>)
    ->Name("ReadUtf8/libxml2 + iconv")
    ->Apply(Sizes);
BENCHMARK(Read<PugiXml, kUtf8>)->Name("ReadUtf8/pugixml")->Apply(Sizes);
BENCHMARK(Read<NovuXml, kLatin1>)->Name("ReadLatin1/Novu")->Apply(Sizes);
BENCHMARK(Read<LibXml2<AsItIs>, kLatin1>)
    ->Name("ReadLatin1/libxml2")
    ->Apply(Sizes);
BENCHMARK(Read<LibXml2<ByIconv>, kLatin1>)
    ->Name("ReadLatin1/libxml2 + iconv")
    ->Apply(Sizes);
BENCHMARK(Read<PugiXml, kLatin1>)->Name("ReadLatin1/pugixml")->Apply(Sizes);

}  // namespace

int main(int argc, char** argv) {
    ::setenv("LC_ALL", "C.UTF-8", /*overwrite=*/1);
    Novu::BasesInit();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    Novu::BasesRelease();
}
