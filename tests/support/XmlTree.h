// XmlTree: what a reader has loaded, as one line of text.

#ifndef NOVU_BASES_TESTS_SUPPORT_XMLTREE_H_
#define NOVU_BASES_TESTS_SUPPORT_XMLTREE_H_

#include <gtest/gtest.h>

#include <string>

#include "Bases/XmlDoc.h"

namespace NovuTest {

inline std::string NameOf(Novu::XmlReader& reader,
                          Novu::XmlReader::Element* element) {
    std::string name = "junk";
    EXPECT_EQ(1, reader.GetElement(element, name));
    return name;
}

/// The element and all below it, as in
///
///     a[k=v]'text'(b c(d))
///
/// where the text is that of GetEntity, if it gives one.
inline std::string Tree(Novu::XmlReader& reader,
                        Novu::XmlReader::Element* element) {
    std::string tree = NameOf(reader, element);
    for (auto* each = reader.GetFirstAttribute(element); each != nullptr;
         each = reader.NextAttribute(each)) {
        std::string name = "junk";
        std::string value = "junk";
        EXPECT_EQ(1, reader.GetAttribute(each, name, value));
        tree += "[" + name + "=" + value + "]";
    }
    std::string text = "junk";
    if (reader.GetEntity(element, text) == 1) {
        tree += "'" + text + "'";
    } else {
        EXPECT_EQ("junk", text);
    }
    std::string below;
    for (auto* each = reader.ChildElement(element, nullptr); each != nullptr;
         each = reader.NextElement(each, nullptr)) {
        if (!below.empty()) {
            below += ' ';
        }
        below += Tree(reader, each);
    }
    return below.empty() ? tree : tree + "(" + below + ")";
}

/// The whole document; "none" where there is no root.
inline std::string Tree(Novu::XmlReader& reader) {
    Novu::XmlReader::Element* const root = reader.GetRootElement();
    return root != nullptr ? Tree(reader, root) : "none";
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_XMLTREE_H_
