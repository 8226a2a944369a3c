// The bounded reader of the renderers' XML files: what it refuses before TinyXML sees it, and how
// it reads what it takes.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tinyxml.h>
#include <unistd.h>

#include <string>

#include "RendererFixtures.h"
#include "TestEnvironment.h"
#include "XmlFile.h"

using corvix_test::writeFile;

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

TEST_F(XmlFileTest, SpecialLargeAndDeepFilesAreRefusedByName) {
    std::string deep;
    for (int i = 0; i < 100000; ++i) {
        deep += "<a>";
    }
    writeFile(tmp("deep.xml"), deep);
    writeFile(tmp("large.xml"), "");
    ASSERT_EQ(0, truncate(tmp("large.xml").c_str(), kRenderXmlSizeLimit + 1));
    corvix_test::makeDirs(tmp("folder.xml"));
    ASSERT_EQ(0, mkfifo(tmp("fifo.xml").c_str(), 0644));
    const std::pair<const char*, std::string> refused[] = {
        {"deep.xml", "is nested deeper than 64 levels"},
        {"large.xml", "is 8388609 bytes, more than the 8388608 read"},
        {"folder.xml", "is a folder, not a regular file"},
        {"fifo.xml", "is a FIFO, not a regular file"}};
    for (const auto& [name, reason] : refused) {
        TiXmlDocument document;
        EXPECT_EQ(RenderXmlResult::kRefused, render_readXmlFile(document, tmp(name).c_str()));
        EXPECT_EQ("\nSkipped " + tmp(name) + ": it " + reason + ".", diagnostics());
    }
    // Nothing there, or nothing in it, is no refusal.
    writeFile(tmp("empty.xml"), "");
    TiXmlDocument document;
    EXPECT_EQ(RenderXmlResult::kAbsent, render_readXmlFile(document, tmp("none.xml").c_str()));
    EXPECT_EQ(RenderXmlResult::kMalformed, render_readXmlFile(document, tmp("empty.xml").c_str()));
    EXPECT_EQ("", diagnostics());
}

// A stray byte would swallow markup if read as UTF-8; line ends are normalised as when TinyXML
// reads the file itself.
TEST_F(XmlFileTest, BytesThatAreNotUtf8AreReadAsTheyStand) {
    writeFile(tmp("latin.xml"), "<?xml version=\"1.0\" ?>\r\n<r n=\"caf\xe9\r\n\">\xe9</r>");
    TiXmlDocument document;
    ASSERT_EQ(RenderXmlResult::kLoaded, render_readXmlFile(document, tmp("latin.xml").c_str()));
    TiXmlElement* r = document.FirstChildElement("r");
    ASSERT_NE(nullptr, r);
    EXPECT_STREQ("caf\xe9\n", r->Attribute("n"));
    EXPECT_STREQ("\xe9", r->GetText());
}

}  // namespace
