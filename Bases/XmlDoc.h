// XmlDoc: writes an XML document in memory, and reads one into a tree.
//
// Shape    Names and texts are narrow text in the character set of the C
//          locale (that of the environment, once BasesInit has run).
// Errors   Results only: 1 for done, 0 for failure, null for "there is none".
//          libxml2 keeps its own habit of reporting on standard error. Its
//          last error (xmlGetLastError) of the thread is looked at, and cleared
//          where it tells that memory ran out.
// Threads  One thread at a time for each object.
// Speed    Text that the conversion would only copy is not converted: ASCII in
//          nearly all encodings, and all of UTF-8 where both sides are that.
// See      docs/surprises.md, "XML", for what is By design.
//
// By design [xml-1]: libxml2 works in UTF-8 inside, and the conversions here go
// between the C locale's character set and the document's. In a document that
// is not in UTF-8 the two meet: non-ASCII text may be refused, come out as
// other characters, or make EndDocument answer 0. Use UTF-8 documents for
// non-ASCII text; every encoding that extends ASCII is good for ASCII text. A
// document in UTF-16 or wider loads, but few of its texts can be read.
//
// By design [xml-2]: under the "C" locale non-ASCII text is refused.

#ifndef NOVU_BASES_XMLDOC_H_
#define NOVU_BASES_XMLDOC_H_

#include <string>

#include "Bases/Export.h"

namespace Novu {

class Guid;

/// Builds one document at a time:
///
///     BeginDocument, elements and text, EndDocument, then GetXmlBuffer or Save
///
/// Every write answers 0 when no document is open, when a name or text cannot
/// be converted, and when libxml2 refuses. Nesting, names and what may stand
/// where are libxml2's business.
/// By design [xml-19]: it accepts duplicate attributes, a second root, "--" in
/// comments and characters that XML does not have (control characters, U+FFFF),
/// and such a document cannot be loaded.
///
/// By design [xml-3]: a write whose text cannot be converted may leave
/// ` name="` or `<!--` open in the document. Where texts come from outside, try
/// them with `WriteElement` in a writer of no other use first.
///
/// Example (examples/XmlDoc.cpp):
///
///     bool good = writer.BeginDocument("UTF-8") == 1;
///     good = good && writer.BeginElement("books") == 1;
///     good = good && writer.BeginElement("book") == 1;
///     good = good && writer.WriteAttribute("title", "Five & Ten") == 1;
class NOVU_API XmlWriter {
public:
    XmlWriter();                           ///< Without a document.
    XmlWriter(const XmlWriter&) = delete;  // Both would release it.
    XmlWriter& operator=(const XmlWriter&) = delete;

    virtual ~XmlWriter();  ///< Releases everything, also in an open document.

    /// Starts a document and its XML declaration, which names `encoding`.
    /// Discards the finished document before it. 0 while one is open, and for
    /// an encoding that libxml2 or iconv does not know.
    /// By design [xml-4]: for UTF-16 and wider encodings the answer is 1, but
    /// ASCII text, and so every document, is refused for lack of room.
    /// By design [xml-5]: a 0 for the encoding's sake leaves the writer open
    /// over no buffer; `EndDocument` makes the object usable again.
    virtual int BeginDocument(const std::string& encoding);

    /// Closes all open elements and the document, which `GetXmlBuffer` and
    /// `Save` then hand out. 0 when none is open or when libxml2 could not
    /// write it out.
    virtual int EndDocument();

    /// Releases the document's bytes.
    /// By design [xml-5]: a document that is open stays open, over no buffer;
    /// every name and text is refused until `EndDocument` ends it.
    virtual void Close();

    /// Starts an element inside the current one.
    int BeginElement(const std::string& name);

    /// Ends the current element.
    int EndElement();

    /// An element that holds `text` and nothing else.
    int WriteElement(const std::string& name, const std::string& text);

    /// An attribute of the element just begun; 0 once it has content.
    int WriteAttribute(const std::string& name, const std::string& value);
    int WriteAttribute(const std::string& name, int value);
    /// By design [xml-6]: written as a signed int; values from 2,147,483,648
    /// up come out negative. Cast them to `unsigned long long`, and a
    /// `std::size_t` too; a `long` needs a cast to `long long`.
    int WriteAttribute(const std::string& name, unsigned int value);
    /// By design [xml-6]: the low 32 bits, written as a signed int.
    int WriteAttribute(const std::string& name, unsigned long value);
    /// All digits are written.
    int WriteAttribute(const std::string& name, long long value);
    int WriteAttribute(const std::string& name, unsigned long long value);
    /// Six decimals ("%lf").
    /// By design [xml-7]: the decimal point is that of the C locale.
    int WriteAttribute(const std::string& name, double value);
    /// The text of `Guid::ToString` with `format`.
    /// By design [xml-8]: the nil value is written as an empty text.
    int WriteAttribute(const std::string& name, const Guid& value, int format);

    /// Text inside the current element, escaped as libxml2 does (`&`, `<`, `>`
    /// and some more); values as in `WriteAttribute`.
    int WriteEntity(const std::string& text);
    int WriteEntity(int value);
    int WriteEntity(unsigned int value);        ///< By design [xml-6]: signed.
    int WriteEntity(unsigned long value);       ///< By design [xml-6]: 32 bits.
    int WriteEntity(long long value);           ///< All digits are written.
    int WriteEntity(unsigned long long value);  ///< All digits are written.
    int WriteEntity(double value);  ///< By design [xml-7]: locale's point.
    int WriteEntity(const Guid& value, int format);  ///< [xml-8]: nil is "".

    /// An element that holds `text`, begun, written and ended; values as in
    /// `WriteAttribute`. 0 where the element cannot be begun; else the answer
    /// is that of the text, and the element is ended either way.
    int WriteElementEntity(const std::string& name, const std::string& text);
    int WriteElementEntity(const std::string& name, int value);
    /// By design [xml-6]: written as a signed int.
    int WriteElementEntity(const std::string& name, unsigned int value);
    /// By design [xml-6]: the low 32 bits, written as a signed int.
    int WriteElementEntity(const std::string& name, unsigned long value);
    /// All digits are written.
    int WriteElementEntity(const std::string& name, long long value);
    int WriteElementEntity(const std::string& name, unsigned long long value);
    /// By design [xml-7]: the decimal point is that of the C locale.
    int WriteElementEntity(const std::string& name, double value);
    /// By design [xml-8]: the nil value is written as an empty text.
    int WriteElementEntity(const std::string& name, const Guid& value,
                           int format);

    /// A comment.
    int WriteComment(const std::string& text);

    /// The document's bytes, and their count in `size`; null and 0 when there
    /// is no buffer. They belong to the writer and last until `Close`, the next
    /// `BeginDocument` or destruction.
    /// By design [xml-9]: text reaches the buffer when libxml2 flushes, so
    /// before `EndDocument` it holds part of the document or none.
    unsigned char* GetXmlBuffer(unsigned long& size);

    /// Writes the bytes of `GetXmlBuffer` to the file `path`, made or replaced.
    /// 0 without a buffer, or when the file cannot be opened.
    /// By design [xml-10]: a write that fails later (a full disk) still answers
    /// 1. Compare the file's size with that of `GetXmlBuffer`.
    int Save(const std::string& path);

private:
    struct PrivateData;

    PrivateData* data;  // Owned; never null.
};

/// Loads one document at a time and walks it by handles. A handle lasts until
/// `Close`, the next load or destruction. Navigation answers null, and every
/// read 0, for a null handle.
///
/// Example (examples/XmlDoc.cpp):
///
///     auto* attribute = reader.GetFirstAttribute(book);
///     while (attribute != nullptr) {
///         if (reader.GetAttribute(attribute, name, value) != 1) {
///             return false;
///         }
///         std::cout << name << " = " << value << '\n';
///         attribute = reader.NextAttribute(attribute);
///     }
class NOVU_API XmlReader {
public:
    class Element;    ///< Designates an element; never defined.
    class Attribute;  ///< Designates an attribute; never defined.

    XmlReader();                           ///< Without a document.
    XmlReader(const XmlReader&) = delete;  // Both would release it.
    XmlReader& operator=(const XmlReader&) = delete;

    virtual ~XmlReader();  ///< Releases the document.

    /// The document's outermost element; null when nothing is loaded.
    virtual Element* GetRootElement();

    /// Parses the `size` bytes at `buffer`, which are not kept. 0 for a null
    /// buffer, for size 0 and for text that is not well-formed. Nothing that a
    /// document names is opened: external entities and DTDs are not read,
    /// whatever the defaults of libxml2 are.
    /// By design [xml-22]: also 0 while a document is loaded.
    /// By design [xml-23]: libxml2 prints what is wrong on standard error.
    /// By design [xml-11]: a document that declares no encoding is refused, and
    /// so is one in an encoding that iconv does not know.
    /// By design [xml-12]: the low 32 bits of `size` count, as a signed int; a
    /// document of 2 GiB or more is refused, or read in part.
    /// By design [xml-20]: beyond these limits, most of them libxml2's, the
    /// answer is 0: elements some 256 deep, names of 50,000 bytes, attributes
    /// of 10 MB, from a file texts of 10 MB, and in a DTD 10,000 references to
    /// entities, or parameter entities that expand to 10 MB.
    /// By design [xml-21]: the time may grow with the square of the size.
    int Load(unsigned char* buffer, unsigned long size);

    /// Parses the file `path`, under the same rules.
    /// By design [xml-18]: libxml2 opens it in its own way, and takes a URL, a
    /// compressed file or "-" for standard input as well, and a file that the
    /// system's XML catalogs name for one that is not there.
    int Load(const std::string& path);

    /// The first element inside `element`; null when there is none.
    /// By design [xml-13]: `name`, where it is not null, takes the name of the
    /// element that was found (and is unchanged if that cannot be converted);
    /// it does not say which element to look for.
    Element* ChildElement(Element* element, std::string* name);

    /// The next element beside `element`; otherwise as `ChildElement`.
    Element* NextElement(Element* element, std::string* name);

    /// The element's name.
    int GetElement(Element* element, std::string& name);

    /// The element's text.
    /// By design [xml-14]: only its first node is looked at: 0 when that is no
    /// text (a comment, an element, nothing), and text after it is not joined.
    int GetEntity(Element* element, std::string& text);

    /// The first attribute of `element`; null when there is none.
    Attribute* GetFirstAttribute(Element* element);

    /// The attribute after `attribute`; null when there is none.
    Attribute* NextAttribute(Attribute* attribute);

    /// Name and value. On 0 the value is unchanged; the name is set if it was
    /// the value that could not be converted.
    /// By design [xml-17]: only the value's first node is looked at: the text
    /// before the first reference to an entity of the document's own, or that
    /// entity's text where the value begins with it.
    int GetAttribute(Attribute* attribute, std::string& name,
                     std::string& value);

    /// The value as a number, by `atoi` or `atof`.
    /// By design [xml-15]: text that is no number gives 0 with the answer 1;
    /// negative numbers wrap.
    int GetAttribute(Attribute* attribute, std::string& name,
                     unsigned int& value);
    /// By design [xml-15]: the low 8 bits; "300" gives 44.
    int GetAttribute(Attribute* attribute, std::string& name,
                     unsigned char& value);
    /// By design [xml-15]: read as an int and widened with its sign, so numbers
    /// above 2,147,483,647 are not read.
    int GetAttribute(Attribute* attribute, std::string& name,
                     unsigned long& value);
    /// By design [xml-7]: the decimal point is that of the C locale.
    int GetAttribute(Attribute* attribute, std::string& name, double& value);

    /// The value by `Guid::FromString`.
    /// By design [xml-16]: 1 once the text was read, also where it is empty or
    /// nil and `value` therefore unchanged; a text that is no identifier lets
    /// the exception of `Guid::FromString` pass.
    int GetAttribute(Attribute* attribute, std::string& name, Guid& value);

    void Close();  ///< Releases the document; harmless when there is none.

private:
    struct PrivateData;

    PrivateData* data;  // Owned; never null.
};

}  // namespace Novu

#endif  // NOVU_BASES_XMLDOC_H_
