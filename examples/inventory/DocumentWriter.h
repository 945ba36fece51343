// DocumentWriter: makes the inventory document and saves it.
//
//   <?xml version="1.0" encoding="UTF-8"?>
//   <inventory version="1" charset="UTF-8" id="...">
//   <entry id="..." path="a/b.txt" type="file" size="12" modified="..."
//          changed="..." created="..." md5="..."/>
//   </inventory>
//
// charset      The character set that the file names were read in.
// id           An identifier of the document's or the entry's own.
// path         Below the folder, where it is plain (see Names.h), ...
// pathEscaped  ... and escaped where it is not.
// target       Of a link, its text; or targetEscaped.
// contents     "unreadable" for a folder whose entries are not known.
// md5          Of a file, where it was asked for and could be computed: the
//              digest of its content, 32 hexadecimal digits in lower case.
//
// An entry of the type "unreadable" has neither size nor times.

#ifndef INVENTORY_DOCUMENTWRITER_H_
#define INVENTORY_DOCUMENTWRITER_H_

#include <Bases/XmlDoc.h>

#include <optional>
#include <string>

#include "Entry.h"
#include "Seal.h"

namespace Inventory {

/// Every operation throws Failure when it cannot be done.
class DocumentWriter {
public:
    /// Begins the document, in memory.
    explicit DocumentWriter(const std::string& encoding);

    /// Adds an entry. Answers whether it had to be escaped.
    bool Add(const Entry& entry);

    /// Ends the document and puts it at `path` as `PutAt` does; sealed where
    /// there is a key, and never otherwise on the disk. Answers the size of the
    /// file in bytes.
    unsigned long Save(const std::string& path, const std::optional<Key>& key);

private:
    void WriteIdentifier();
    bool WriteName(const std::string& attribute, const std::string& fileName);
    bool IsWrittenPlain(const std::string& fileName) const;

    Novu::XmlWriter writer;
    bool utf8;  // The document's encoding is UTF-8.
};

}  // namespace Inventory

#endif  // INVENTORY_DOCUMENTWRITER_H_
