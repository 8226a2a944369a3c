// The nesting count that guards TinyXML in the renderers' XML reader. The reader's refusals are
// named end to end in CliRenderersTest; its byte-for-byte reading is RendererOverrideMapTest's.
#include <gtest/gtest.h>

#include <string>

#include "RendererFixtures.h"
#include "XmlFile.h"

namespace {

class XmlFileTest : public renderer_test::RendererTest {};

// Whatever hides markup, or only looks like it, the count never falls below TinyXML's nesting.
TEST_F(XmlFileTest, DepthIsNeverCountedBelowTinyXmlsNesting) {
    const std::pair<const char*, bool> cases[] = {
        {"<a><b><c/></b><b/><b x='1'/></a>", true},
        {"<a><b><c><d>", false},
        {"<a><!-- <b><c><d> --><![CDATA[<b><c><d>]]><?p <b><c><d> ?><!D <b>></a>", true},
        {"</x></x></x><a><b><c><d>", false},
        {"<a x=\"</a></a>\" y = '</a>'><b><c><d>", false},
        {"<a x=\"/>\"><b x='>'><c><d>", false},
        {"<a><_d><\xc3\xa9><e>", false},
    };
    for (const auto& [text, within] : cases) {
        EXPECT_EQ(within, render_xmlDepthWithin(text, 3)) << text;
    }
}

}  // namespace
