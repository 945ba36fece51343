// The XML writer and reader, beside libxml2 alone and libxml2 with one iconv
// conversion for each text. All make and read the same document.

#include "Bases/XmlDoc.h"

#include <benchmark/benchmark.h>
#include <iconv.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlwriter.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "Bases/Bases.h"
#include "Bases/Guid.h"

namespace {

const char* const kTitle = "A title of some forty characters, in ASCII";
const char* const kPlace = "<here> & there";

const Novu::Guid& Id() {
    static const Novu::Guid id = [] {
        Novu::Guid read;
        read.FromString("00112233-4455-6677-8899-aabbccddeeff");
        return read;
    }();
    return id;
}

// The document as the library writes it.
std::string NovuDocument(int elements) {
    Novu::XmlWriter writer;
    writer.BeginDocument("UTF-8");
    writer.BeginElement("items");
    for (int number = 0; number < elements; ++number) {
        writer.BeginElement("item");
        writer.WriteAttribute("id", Id(), 1);
        writer.WriteAttribute("number", number);
        writer.WriteAttribute("square", 1LL * number * number);
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

// How a peer turns a text into what libxml2 takes.
class AsItIs {
public:
    const xmlChar* operator()(const std::string& text) {
        return reinterpret_cast<const xmlChar*>(text.c_str());
    }
};

class ByIconv {
public:
    ByIconv() : converter(::iconv_open("UTF-8", "UTF-8")) {}
    ByIconv(const ByIconv&) = delete;
    ByIconv& operator=(const ByIconv&) = delete;
    ~ByIconv() { ::iconv_close(converter); }

    const xmlChar* operator()(const std::string& text) {
        room.resize(3 * (text.size() + 1));
        char* in = const_cast<char*>(text.c_str());
        char* out = room.data();
        std::size_t inLeft = text.size() + 1;
        std::size_t outLeft = room.size();
        ::iconv(converter, &in, &inLeft, &out, &outLeft);
        return reinterpret_cast<const xmlChar*>(room.data());
    }

private:
    iconv_t converter;
    std::string room;
};

template <typename Convert>
std::string LibXml2Document(int elements) {
    Convert name;
    Convert value;
    xmlBuffer* const buffer = ::xmlBufferCreate();
    xmlTextWriter* const writer = ::xmlNewTextWriterMemory(buffer, 0);
    ::xmlTextWriterStartDocument(writer, nullptr, "UTF-8", nullptr);
    ::xmlTextWriterStartElement(writer, name("items"));
    const auto attribute = [&](const char* key, const std::string& text) {
        ::xmlTextWriterWriteAttribute(writer, name(key), value(text));
    };
    for (int number = 0; number < elements; ++number) {
        ::xmlTextWriterStartElement(writer, name("item"));
        attribute("id", Id().ToString(1));
        attribute("number", std::to_string(number));
        attribute("square", std::to_string(1LL * number * number));
        attribute("place", kPlace);
        ::xmlTextWriterWriteString(writer, value(kTitle));
        ::xmlTextWriterEndElement(writer);
    }
    ::xmlTextWriterEndElement(writer);
    ::xmlTextWriterEndDocument(writer);
    ::xmlFreeTextWriter(writer);
    const std::string document(
        reinterpret_cast<const char*>(::xmlBufferContent(buffer)),
        static_cast<std::size_t>(::xmlBufferLength(buffer)));
    ::xmlBufferFree(buffer);
    return document;
}

// Both sides sum up what they read, so that nothing is left out unseen.

unsigned long NovuSum(std::string& document) {
    Novu::XmlReader reader;
    reader.Load(reinterpret_cast<unsigned char*>(document.data()),
                document.size());
    unsigned long sum = 0;
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

unsigned long LibXml2Sum(const std::string& document) {
    xmlDoc* const parsed =
        ::xmlReadMemory(document.data(), static_cast<int>(document.size()),
                        "noname.xml", nullptr, 0);
    const auto text = [](const xmlChar* content) {
        return std::string(reinterpret_cast<const char*>(content));
    };
    unsigned long sum = 0;
    for (const xmlNode* item = ::xmlDocGetRootElement(parsed)->children;
         item != nullptr; item = item->next) {
        for (const xmlAttr* attribute = item->properties; attribute != nullptr;
             attribute = attribute->next) {
            sum += text(attribute->name).size() +
                   text(attribute->children->content).size();
        }
        sum += text(item->children->content).size();
    }
    ::xmlFreeDoc(parsed);
    return sum;
}

template <std::string (*make)(int)>
void Write(benchmark::State& state) {
    const auto elements = static_cast<int>(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(make(elements));
    }
    state.SetItemsProcessed(state.iterations() * elements);
}

void ReadNovu(benchmark::State& state) {
    std::string document = NovuDocument(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(NovuSum(document));
    }
}

void ReadLibXml2(benchmark::State& state) {
    const std::string document = NovuDocument(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(LibXml2Sum(document));
    }
}

BENCHMARK(Write<NovuDocument>)->Arg(1000)->Arg(10000);
BENCHMARK(Write<LibXml2Document<AsItIs>>)->Arg(1000)->Arg(10000);
BENCHMARK(Write<LibXml2Document<ByIconv>>)->Arg(1000)->Arg(10000);
BENCHMARK(ReadNovu)->Arg(1000)->Arg(10000);
BENCHMARK(ReadLibXml2)->Arg(1000)->Arg(10000);

}  // namespace

int main(int argc, char** argv) {
    Novu::BasesInit();
    std::string document = NovuDocument(100);
    if (document != LibXml2Document<AsItIs>(100) ||
        document != LibXml2Document<ByIconv>(100) ||
        NovuSum(document) != LibXml2Sum(document)) {
        std::fputs("the peers do not do the same work\n", stderr);
        return EXIT_FAILURE;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    Novu::BasesRelease();
}
