// The one XML escaping function, per reader: plain values keep their bytes, markup becomes
// entities, and what a reader cannot carry becomes U+FFFD (strict) or a reference (TinyXML). That
// TinyXML reads every escaped value back exactly is tested with the overrides file.
#include <gtest/gtest.h>

#include <string>

#include "VeskXmlText.h"

namespace {

const std::string r = "\xEF\xBF\xBD";  // U+FFFD
const VeskXmlPlace kText = VeskXmlPlace::kElement;
const VeskXmlPlace kAttribute = VeskXmlPlace::kAttribute;

struct Case {
    std::string input;
    VeskXmlPlace place;
    VeskXmlReader reader;
    std::string expected;
};

TEST(VeskXmlText, EachReaderGetsWhatItCanReadBack) {
    using R = VeskXmlReader;
    const Case cases[] = {
        // Plain text stands as it is for every reader and place.
        {"Ann O'Neil (caf\xC3\xA9) 1", kText, R::kStrict, "Ann O'Neil (caf\xC3\xA9) 1"},
        {"Ann O'Neil (caf\xC3\xA9) 1", kAttribute, R::kTinyXmlUtf8, "Ann O'Neil (caf\xC3\xA9) 1"},
        {"/opt/Prism 3D/bin", kText, R::kTinyXmlLegacy, "/opt/Prism 3D/bin"},
        // Markup, and the quote only where it would end an attribute.
        {"A & <B> \"q\"", kText, R::kStrict, "A &amp; &lt;B&gt; \"q\""},
        {"A & <B> \"q\"", kAttribute, R::kTinyXmlUtf8, "A &amp; &lt;B&gt; &quot;q&quot;"},
        // Strict readers: what XML cannot carry becomes U+FFFD, one per byte; line breaks and
        // tabs stay.
        {"x\x01y\x7f\t\r\n", kText, R::kStrict, "x" + r + "y\x7f\t\r\n"},
        {"\xFF\xC3", kText, R::kStrict, r + r},  // stray; cut sequence
        {"\xC0\xAF \xED\xA0\x80", kText, R::kStrict,
         r + r + " " + r + r + r},                            // overlong; surrogate
        {"\xEF\xBF\xBE", kAttribute, R::kStrict, r + r + r},  // U+FFFE
        // TinyXML: every byte kept; controls, and blanks it would trim or condense, as references.
        {"t\tn\n\xe9", kText, R::kTinyXmlLegacy, "t&#9;n&#10;\xe9"},
        {" a  b ", kText, R::kTinyXmlLegacy, "&#32;a&#32;&#32;b&#32;"},
        {" a  b ", kAttribute, R::kTinyXmlLegacy, " a  b "},
        {"\xEF\xBB\xBFx\xEF\xBF\xBF", kText, R::kTinyXmlUtf8, "&#xFEFF;x&#xFFFF;"},
        {"\xEF\xBB\xBFx", kText, R::kTinyXmlLegacy, "\xEF\xBB\xBFx"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.expected, vesk_xmlText(c.input, c.place, c.reader)) << c.input;
    }
    EXPECT_EQ("<&>" + r, vesk_xmlValid("<&>\x02"));
}

}  // namespace
