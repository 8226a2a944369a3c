// The text helpers of the render control reader: the version ordering and the nesting count that
// guards TinyXML. (The string helpers' copies and trims are checked through the matcher's
// extraction and the parameter lines in RenderControllerTest.) The XML reader's refusals are named
// end to end in CliRenderersTest; its byte-for-byte reading is RendererOverrideMapTest's.
#include <gtest/gtest.h>

#include <string>

#include "VersionCompare.h"
#include "XmlFile.h"

namespace {

// Ours, not the C library's function of the same name.
using corvix::strverscmp;

TEST(VersionCompareTest, KnownPairs) {
    std::string abc1 = "abc", abc2 = "abc", empty1, empty2;
    EXPECT_EQ(1, strverscmp("2.10", "2.9"));
    EXPECT_EQ(1, strverscmp("R10", "R9"));
    EXPECT_EQ(-1, strverscmp("abc", "abd"));
    EXPECT_EQ(0, strverscmp(abc1.c_str(), abc2.c_str()));
    EXPECT_EQ(-1, strverscmp(empty1.c_str(), empty2.c_str()));
    EXPECT_EQ(0, strverscmp(empty1.c_str(), empty1.c_str()));
    EXPECT_EQ(1, strverscmp("a", ""));
    EXPECT_EQ(-1, strverscmp("", "1"));
    EXPECT_EQ(-1, strverscmp("1.0", "1a"));
    EXPECT_EQ(1, strverscmp("a1", "ab"));
    EXPECT_EQ(1, strverscmp("10.1", "10"));
    EXPECT_EQ(0, strverscmp("1.01", "1.1"));
    EXPECT_EQ(1, strverscmp("\xe9", "z"));
    EXPECT_EQ(1, strverscmp("1.200000000000000000000001", "1.200000000000000000000000"));
}

// Whatever hides markup, or only looks like it, the count never falls below TinyXML's nesting.
TEST(XmlFileTest, DepthIsNeverCountedBelowTinyXmlsNesting) {
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
