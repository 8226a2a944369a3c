#include <cstring>
#include <memory>
#include <string>

#include "ManifestText.h"
#include "SupportPackage.h"
#include "SupportTestTools.h"
#include "TestEnvironment.h"

using namespace corvix_test;

namespace {

const char kHeader[] =
    "<?xml version=\"1.0\" ?>\n"
    "<?xml-stylesheet type=\"text/xsl\" href=\"package.xsl\"?>\n"
    "<SupportInfo version=\"1.0\">\n"
    "\t<!-- Information for Orvanta Support System -->\n";

std::string encode(const std::string& input, unsigned long limit) {
    std::string output(limit, 'G');
    SupportPackage::urlEncodeString(const_cast<char*>(input.c_str()), &output[0], limit);
    return output.c_str();
}

class PackageManifestTest : public SandboxTest {
  protected:
    std::string manifest(_sp_package_info_struct* info) {
        std::string path = tmp("package.xml");
        EXPECT_EQ(_package->writePackageInfo(info, path.c_str()), 1);
        return readFile(path);
    }

    void SetUp() override {
        SandboxTest::SetUp();
        // A package over a folder that does not exist: the capture files cannot be opened (the
        // entries are still recorded), nor can the manifest inside it.
        _package = std::make_unique<SupportPackage>(tmp("missing").c_str(), true);
    }

    std::unique_ptr<SupportPackage> _package;
};

}  // namespace

TEST_F(PackageManifestTest, FullRecordWithSectionsIsWrittenExactly) {
    char name[] = "Corvix", version[] = "-", user[] = "Ann O'Neil", company[] = "A & B",
         license[] = "L-1", comment[] = "Line one\r\nLine two & more\t(x.y) a-b/c",
         email[] = "a@b.c";
    _sp_package_info_struct info = {0,       name,    version, user, company,
                                    license, comment, email,   42,   1700000000};
    _package->addFileToSysManifest("system.xml");
    _package->addOutputToSys("echo x", "processList.txt", false);
    _package->addFileToSysManifest("plain");
    writeFile(tmp("Prefs"), "p");
    _package->addFileToDir(tmp("Prefs").c_str(), tmp().c_str(), SP_INFO_APPLICATION, "AE_65");
    _package->addFileToDir(tmp("Prefs").c_str(), tmp().c_str(), SP_INFO_USER, nullptr);

    EXPECT_EQ(manifest(&info),
              std::string(kHeader) +
                  "\t<application>Corvix</application>\n"
                  "\t<appversion>-</appversion>\n"
                  "\t<build>42</build>\n"
                  "\t<user>Ann O'Neil</user>\n"
                  "\t<company>A & B</company>\n"
                  "\t<email>a@b.c</email>\n"
                  "\t<license>L-1</license>\n"
                  "\t<timestamp>1700000000</timestamp>\n"
                  "\t<comment>Line one<br />Line two &amp; more(x.y) a&#45;b&#47;c</comment>\n"
                  "\t<!-- System information files -->\n"
                  "\t<system_info>\n"
                  "\t\t<infofile>\n\t\t\t<name>system.xml</name>\n"
                  "\t\t\t<path>system/system.xml</path>\n\t\t</infofile>\n"
                  "\t\t<infofile>\n\t\t\t<name>processList.txt</name>\n"
                  "\t\t\t<path>system/processList.txt</path>\n\t\t</infofile>\n"
                  "\t\t<infofile>\n\t\t\t<name>plain</name>\n"
                  "\t\t\t<path>system/plain</path>\n\t\t</infofile>\n"
                  "\t</system_info>\n"
                  "\t<!-- Application related -->\n"
                  "\t<app_info>\n"
                  "\t\t<infofile feature=\"AE_65\">\n\t\t\t<name>Prefs</name>\n"
                  "\t\t\t<path>application/AE_65/Prefs</path>\n\t\t</infofile>\n"
                  "\t</app_info>\n"
                  "\t<!-- User related -->\n"
                  "\t<user_info>\n"
                  "\t\t<infofile>\n\t\t\t<name>Prefs</name>\n"
                  "\t\t\t<path>user/Prefs</path>\n\t\t</infofile>\n"
                  "\t</user_info>\n"
                  "</SupportInfo>\n");
    EXPECT_EQ(info._version, 1);
}

TEST_F(PackageManifestTest, NullTextsNoEntriesAndUnwritableManifest) {
    _sp_package_info_struct info = {};
    info._version = -3;
    info._timestamp = -1;
    EXPECT_EQ(manifest(&info), std::string(kHeader) +
                                   "\t<application>(null)</application>\n"
                                   "\t<appversion>(null)</appversion>\n"
                                   "\t<build>0</build>\n"
                                   "\t<user>(null)</user>\n"
                                   "\t<company>(null)</company>\n"
                                   "\t<email>(null)</email>\n"
                                   "\t<license>(null)</license>\n"
                                   "\t<timestamp>-1</timestamp>\n"
                                   "\t<comment></comment>\n"
                                   "</SupportInfo>\n");
    info._version = 7;
    EXPECT_NE(manifest(&info).find("<SupportInfo version=\"7.0\">"), std::string::npos);

    // A manifest that cannot be written stops the save before the archive.
    DiagnosticCapture diagnostics;
    EXPECT_EQ(_package->writePackageInfo(nullptr, tmp("x.xml").c_str()), 0);
    _package->setPackageInfo(&info);
    EXPECT_EQ(_package->savePackage(tmp("none.zip").c_str()), 0);
    EXPECT_EQ(diagnostics.take(),
              "\nPackage info missing or invalid output file.\nCould not open \"" +
                  tmp("missing/package.xml") + "\" for output.");
    EXPECT_FALSE(exists(tmp("none.zip")));
}

// The limit counts consumed input characters, dropped ones too; the output stays inside limit
// bytes, cut before an escape that does not fit.
TEST_F(PackageManifestTest, EscapingFollowsTheTableAndItsLimits) {
    EXPECT_EQ(encode("!#$%*+,-/:;=?@{|}~", 200),
              "&#33;&#35;&#36;&#37;&#42;&#43;&#44;&#45;&#47;&#58;&#59;&#61;&#63;&#64;&#123;&#124;"
              "&#125;&#126;");
    EXPECT_EQ(encode("\"<a>&'().[\\]^_` \x01\xc3\xa9", 200),
              "&quot;&lt;a&gt;&amp;'().[\\]^_` \x01\xc3\xa9");
    EXPECT_EQ(encode("a\tb\rc\nd", 200), "abc<br />d");
    std::string out = "keep";
    SupportPackage::urlEncodeString(nullptr, &out[0], 4);
    EXPECT_EQ(out, std::string(4, '\0'));

    EXPECT_EQ(encode("\t\tabcdef", 5), "abc");
    char buffer[16];
    memset(buffer, 'G', sizeof buffer);
    SupportPackage::urlEncodeString(const_cast<char*>("ab~~~~"), buffer, 10);
    EXPECT_STREQ(buffer, "ab&#126;");
    EXPECT_EQ(std::string(buffer + 10, 6), "GGGGGG");

    // The manifest's comment is escaped whole, however far beyond the 5000 bytes it goes.
    std::string comment(4000, '~');
    _sp_package_info_struct info = {};
    info._comment = &comment[0];
    std::string text = manifest(&info);
    size_t start = text.find("<comment>") + 9;
    std::string escaped = text.substr(start, text.find("</comment>") - start);
    EXPECT_EQ(escaped.size(), 24000u);
    EXPECT_EQ(escaped.find_first_not_of("&#126;"), std::string::npos);
}

// What the job puts into the record: plain text as it is, anything else made safe for XML.
TEST(ManifestTextTest, PlainTextStaysAndTheRestBecomesWellFormed) {
    const std::string r = "\xEF\xBF\xBD";  // U+FFFD
    const std::pair<std::string, std::string> cases[] = {
        {"Ann O'Neil (Studio \"X\")", "Ann O'Neil (Studio \"X\")"},
        // A raw carriage return would reach the reader as a line feed.
        {"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80\t\r\n",
         "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80\t&#13;\n"},
        {"A & <B>", "A &amp; &lt;B&gt;"},
        {"x\x01y\x7f", "x" + r + "y\x7f"},
        {"\xFF\xC3", r + r},                                 // not UTF-8; cut sequence
        {"\xC0\xAF \xED\xA0\x80", r + r + " " + r + r + r},  // overlong; surrogate
        {"\xEF\xBF\xBE", r + r + r},                         // U+FFFE
    };
    for (const auto& [input, expected] : cases) {
        EXPECT_EQ(ManifestText::element(input), expected) << input;
    }
    EXPECT_EQ(ManifestText::validXml("<&>"), "<&>");
}

TEST(AddAttachments, SplitsFeatureAndName) {
    TempDir dir;
    std::vector<std::string> entries = {"noslash", "user/a/b/c", "system/", "a//b"};
    FILE* out = fopen((dir / "s.xml").c_str(), "w");
    ASSERT_TRUE(out);
    SupportPackage::addAttachments(out, "attachments", &entries);
    SupportPackage::addAttachments(out, nullptr, &entries);
    SupportPackage::addAttachments(out, "x", nullptr);
    fclose(out);
    EXPECT_EQ(
        readFile(dir / "s.xml"),
        "\t<attachments>\n"
        "\t\t<infofile>\n\t\t\t<name>?\?</name>\n\t\t\t<path>noslash</path>\n\t\t</infofile>\n"
        "\t\t<infofile feature=\"a/b\">\n\t\t\t<name>c</name>\n"
        "\t\t\t<path>user/a/b/c</path>\n\t\t</infofile>\n"
        "\t\t<infofile>\n\t\t\t<name></name>\n\t\t\t<path>system/</path>\n\t\t</infofile>\n"
        "\t\t<infofile>\n\t\t\t<name>b</name>\n\t\t\t<path>a//b</path>\n\t\t</infofile>\n"
        "\t</attachments>\n");
}
