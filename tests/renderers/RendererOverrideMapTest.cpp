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
    RendererOverrideMap* _map = RendererOverrideMap::getInstance();
    bool load(const std::string& name, const std::string& contents) {
        writeFile(tmp(name), contents);
        return _map->load(tmp(name).c_str());
    }
};

TEST_F(RendererOverrideMapTest, LoadsAddAndReplaceButNeverRemove) {
    EXPECT_TRUE(load("first.xml",
                     "<?xml version=\"1.0\" ?>\n<overrides version=\"1.0\">\n"
                     "<renderer name=\"Cinema\">/opt/one</renderer>\n"
                     "<renderer name=\"Cinema\">/opt/two</renderer>\n"
                     "<renderer name=\"Blank\"></renderer><renderer>/opt/nameless</renderer>\n"
                     "<renderer name=\"Max\" version=\"9\">/opt/max</renderer>\n</overrides>\n"));
    EXPECT_STREQ("/opt/two", _map->getPathForRenderer("Cinema"));
    EXPECT_EQ(nullptr, _map->getPathForRenderer("Blank"));
    EXPECT_EQ(nullptr, _map->getPathForRenderer("cinema"));

    EXPECT_TRUE(load("second.xml", "<overrides><renderer name=\"Max\">/m2</renderer></overrides>"));
    EXPECT_EQ(tmp("second.xml"), _map->getFilePath());
    testing::internal::CaptureStderr();
    _map->printOverrides();
    EXPECT_EQ("\n\n*** OVERRIDE MAP\n\nCinema - /opt/two\nMax - /m2\n",
              testing::internal::GetCapturedStderr());
}

// Unreadable files succeed and change nothing; a file without "overrides" fails and changes
// nothing either; malformed and binary files never crash.
TEST_F(RendererOverrideMapTest, BadFilesLeaveTheMapAsItWas) {
    ASSERT_TRUE(load("good.xml", "<overrides><renderer name=\"A\">/a</renderer></overrides>"));
    EXPECT_TRUE(_map->load(tmp("missing.xml").c_str()));
    EXPECT_FALSE(load("wrong.xml", "<renderers><renderer name=\"A\">/b</renderer></renderers>"));
    load("truncated.xml", "<overrides><renderer name=\"A\">/c</rend");
    load("binary.xml", std::string("\x00\xff\xfe<\x01overrides\x00>\x80\x81", 14));
    EXPECT_STREQ("/a", _map->getPathForRenderer("A"));
}

}  // namespace
