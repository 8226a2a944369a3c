// The process-wide override map: what a load adds, replaces and keeps.
#include <gtest/gtest.h>

#include <string>

#include "RendererFixtures.h"
#include "RendererOverrideMap.h"
#include "TestEnvironment.h"

using corvix_test::writeFile;

namespace {

class RendererOverrideMapTest : public renderer_test::RendererTest {
  protected:
    RendererOverrideMap* map() { return RendererOverrideMap::getInstance(); }
};

TEST_F(RendererOverrideMapTest, LoadsAddReplaceAndNeverRemove) {
    EXPECT_EQ(map(), RendererOverrideMap::getInstance());
    std::string first = tmp("first.xml");
    writeFile(first,
              "<?xml version=\"1.0\" ?>\n<overrides version=\"1.0\">\n"
              "<renderer name=\"Cinema\">/opt/one</renderer>\n"
              "<renderer name=\"Cinema\">/opt/two</renderer>\n"
              "<renderer name=\"Blank\"></renderer>\n"
              "<renderer>/opt/nameless</renderer>\n"
              "<renderer name=\"Max\" version=\"9\">/opt/max</renderer>\n"
              "<other name=\"Other\">/opt/other</other>\n</overrides>\n");
    EXPECT_TRUE(map()->load(first.c_str()));
    EXPECT_EQ(first, map()->getFilePath());
    ASSERT_NE(nullptr, map()->getPathForRenderer("Cinema"));
    EXPECT_STREQ("/opt/two", map()->getPathForRenderer("Cinema"));
    EXPECT_STREQ("/opt/max", map()->getPathForRenderer("Max"));
    EXPECT_EQ(nullptr, map()->getPathForRenderer("Blank"));
    EXPECT_EQ(nullptr, map()->getPathForRenderer("Other"));
    EXPECT_EQ(nullptr, map()->getPathForRenderer("cinema"));
    EXPECT_EQ(nullptr, map()->getPathForRenderer(nullptr));

    std::string second = tmp("second.xml");
    writeFile(second, "<overrides><renderer name=\"Max\">/opt/max2</renderer></overrides>");
    EXPECT_TRUE(map()->load(second.c_str()));
    EXPECT_STREQ("/opt/two", map()->getPathForRenderer("Cinema"));
    EXPECT_STREQ("/opt/max2", map()->getPathForRenderer("Max"));

    testing::internal::CaptureStderr();
    map()->printOverrides();
    EXPECT_EQ("\n\n*** OVERRIDE MAP\n\nCinema - /opt/two\nMax - /opt/max2\n",
              testing::internal::GetCapturedStderr());
}

// Unreadable files succeed and change nothing; a file without "overrides" fails and changes
// nothing either; malformed and binary files never crash.
TEST_F(RendererOverrideMapTest, BadFilesLeaveTheMapAsItWas) {
    std::string good = tmp("good.xml");
    writeFile(good, "<overrides><renderer name=\"A\">/a</renderer></overrides>");
    ASSERT_TRUE(map()->load(good.c_str()));

    EXPECT_TRUE(map()->load(tmp("missing.xml").c_str()));
    EXPECT_EQ(tmp("missing.xml"), map()->getFilePath());

    std::string wrongRoot = tmp("wrong.xml");
    writeFile(wrongRoot, "<renderers><renderer name=\"A\">/b</renderer></renderers>");
    EXPECT_FALSE(map()->load(wrongRoot.c_str()));

    std::string truncated = tmp("truncated.xml");
    writeFile(truncated, "<overrides><renderer name=\"A\">/c</rend");
    map()->load(truncated.c_str());
    std::string binary = tmp("binary.xml");
    writeFile(binary, std::string("\x00\xff\xfe<\x01overrides\x00>\x80\x81", 14));
    map()->load(binary.c_str());
    EXPECT_STREQ("/a", map()->getPathForRenderer("A"));
}

}  // namespace
