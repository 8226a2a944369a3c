// The console-following state machine: loading states from a render control file, what reaches
// the four event methods, and reading a parameter block back.
#include <string>
#include <vector>

#include "RegexBudget.h"
#include "RenderController.h"
#include "RendererFixtures.h"
#include "StringMatcher.h"

using namespace corvix_test;

namespace {

// Records every event call as "event|context|param", the parameter as it arrives.
class RecordingController : public RenderController {
  public:
    explicit RecordingController(const char* file) : RenderController(file) {}
    void onError(void* c, const char* p) override { record("error", c, p); }
    void onFrameRendering(void* c, const char* p) override { record("frame", c, p); }
    void onCompletion(void* c, const char* p) override { record("completion", c, p); }
    void onTransition(void* c, const char* p) override { record("transition", c, p); }
    void record(const char* event, void* context, const char* param) {
        _events.push_back(std::string(event) + "|" +
                          (context ? static_cast<const char*>(context) : "(none)") + "|" +
                          (param ? param : "(none)"));
    }

    std::vector<std::string> _events;
};

const char kRenderer[] =
    "<renderer name=\"Cinema\"><extension>c4d</extension>"
    "<executable>/nowhere/cinema</executable>";

class RenderControllerTest : public renderer_test::RendererTest {
  protected:
    std::string controlFile(const std::string& body, const std::string& name = "r.xml") {
        writeFile(tmp(name), std::string(kRenderer) + body + "</renderer>");
        return tmp(name);
    }
    ProductLog _log{tmp("render.log")};
};

const char kMachine[] =
    "<state name=\"idle\"><transition to=\"rendering\"><stringmatch>^Rendering started"
    "</stringmatch></transition></state>"
    "<state name=\"rendering\" default=\"1\">"
    "<error mode=\"fail\"><stringmatch>Error</stringmatch></error>"
    "<framerender mode=\"frame\"><extraction>^Frame ([0-9]+)</extraction>"
    "<stringmatch></stringmatch></framerender>"
    "<completion to=\"idle\"><stringmatch>^Finished</stringmatch></completion>"
    "</state>"
    "<monitor><transition to=\"aborted\"><stringmatch>^ABORT</stringmatch></transition>"
    "<framerender><stringmatch>.</stringmatch></framerender></monitor>"
    "<monitor><transition><stringmatch>^second monitor</stringmatch></transition></monitor>";

TEST_F(RenderControllerTest, LinesFireOneActionOfTheCurrentStateUnlessTheMonitorTakesThem) {
    RecordingController controller(controlFile(kMachine).c_str());
    ASSERT_TRUE(controller.isValid());
    EXPECT_STREQ(controller.getRendererName(), "Cinema");
    EXPECT_TRUE(controller.handlesExtension("c4d"));
    EXPECT_FALSE(controller.handlesExtension("C4D"));
    ASSERT_NE(controller.getMonitorState(), nullptr);
    EXPECT_EQ(controller.getMonitorState()->getName(), "primary.monitor");
    EXPECT_EQ(controller.getCurrentState()->getName(), "rendering");
    EXPECT_TRUE(_log.has("Render control file succesfully loaded.\n"));

    controller.processInput("Frame 12 Error in shader");  // frame and error: only the frame
    controller.processInput("Disk Error");
    controller.processInput("Finished");
    controller.processInput("ABORT on Error");     // the monitor takes it
    controller.processInput("second monitor");     // only the first monitor counts
    controller.processInput("Rendering started");  // a transition of another state
    controller.processInput(nullptr);

    // The extraction arrives with the character after its group.
    EXPECT_EQ(controller._events,
              (std::vector<std::string>{"frame|frame|12 ", "error|fail|(none)",
                                        "completion|idle|(none)", "transition|aborted|(none)"}));

    EXPECT_FALSE(controller.switchToState("nowhere"));
    EXPECT_FALSE(controller.switchToState(nullptr));
    EXPECT_EQ(controller.getCurrentState()->getName(), "rendering");
    EXPECT_TRUE(controller.switchToState("idle"));
    controller.processInput("Rendering started");
    EXPECT_EQ(controller._events.back(), "transition|rendering|(none)");
}

TEST_F(RenderControllerTest, StartingStateIsTheLastDefaultElseTheFirst) {
    RenderController twoDefaults(controlFile("<state name=\"a\" default=\"1\"/>"
                                             "<state name=\"b\" default=\"1\"/>"
                                             "<state name=\"c\" default=\"0\"/>")
                                     .c_str());
    EXPECT_EQ(twoDefaults.getCurrentState()->getName(), "b");

    RenderController noDefault(
        controlFile("<state name=\"x\"/><state name=\"y\"/>", "n.xml").c_str());
    EXPECT_EQ(noDefault.getCurrentState()->getName(), "x");
    EXPECT_EQ(noDefault.getMonitorState(), nullptr);

    // A later state of the same name replaces the first; the current one stays usable.
    RecordingController same(
        controlFile("<state name=\"s\"><error><stringmatch>one</stringmatch></error></state>"
                    "<state name=\"s\"><error><stringmatch>two</stringmatch></error></state>",
                    "s.xml")
            .c_str());
    same.processInput("one");
    ASSERT_TRUE(same.switchToState("s"));
    same.processInput("one");
    same.processInput("two");
    EXPECT_EQ(same._events,
              (std::vector<std::string>{"error|(none)|(none)", "error|(none)|(none)"}));
}

TEST_F(RenderControllerTest, BrokenFilesAndExpressionsAreLoggedNotFatal) {
    makeDirs(tmp("folder.xml"));  // not a file: unreadable and named, not a crash
    for (const char* name : {"absent.xml", "folder.xml"}) {
        RenderController unreadable(tmp(name).c_str());
        EXPECT_FALSE(unreadable.isValid());
        EXPECT_TRUE(_log.has("ERROR\tCould not load render control file: " + tmp(name)));
    }
    EXPECT_TRUE(_log.has("ERROR\tRenderController: Error parsing file."));
    EXPECT_EQ("\nSkipped " + tmp("folder.xml") + ": it is a folder, not a regular file.",
              diagnostics());

    writeFile(tmp("other.xml"), "<settings/>");
    RenderController noRenderer(tmp("other.xml").c_str());
    EXPECT_TRUE(_log.has("ERROR\tRender control file " + tmp("other.xml") +
                         " is invalid - renderer tag is missing."));

    // A renderer for another platform only: nothing is read, but the file counts as loaded.
    writeFile(tmp("win.xml"),
              "<renderer name=\"W\"><executable platform=\"win\">c:\\w.exe</executable>"
              "<state name=\"s\"/></renderer>");
    RenderController windowsOnly(tmp("win.xml").c_str());
    EXPECT_FALSE(windowsOnly.isValid());
    EXPECT_EQ(windowsOnly.getCurrentState(), nullptr);
    EXPECT_EQ(windowsOnly.getRendererName(), nullptr);

    RecordingController badExpression(
        controlFile("<state name=\"s\"><error><stringmatch>([</stringmatch>"
                    "<stringmatch>ok</stringmatch></error></state>",
                    "bad.xml")
            .c_str());
    badExpression.processInput("([");
    badExpression.processInput("ok");
    EXPECT_EQ(badExpression._events, (std::vector<std::string>{"error|(none)|(none)"}));
}

// A repetition of a repetition doubles what the library compiles: a control file's "^K+++...+"
// made one expression claim gigabytes. Such expressions are measured and refused before they are
// compiled (they then match nothing); ordinary ones, long ones included, still compile.
TEST_F(RenderControllerTest, ExpressionsThatWouldCompileHugeAreRefused) {
    const struct {
        std::string expression;
        bool fits;
    } cases[] = {
        {"^Frame ([0-9]+) ", true},
        {"[[:digit:]]{1,5}\\.[]a-z]+(exr|tif)?$|^Done{,3}", true},
        {std::string(4000, 'x'), true},
        {"(a{40}){40}", true},
        {"^KI" + std::string(130, '+') + "LL{", false},
        {"(a{100}){100}", false},
        {"a{1000000000}", false},
        {std::string(6000, 'x'), false},
        {std::string(300, '(') + "a" + std::string(300, ')'), false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.fits, regexFitsBudget(c.expression.c_str())) << c.expression.substr(0, 40);
    }
    // ((a+)+)+ ...: 3,069 nodes at nine levels, 24,573 at twelve.
    for (int levels : {9, 12}) {
        std::string expression = std::string(levels, '(') + "a+";
        for (int i = 0; i < levels; ++i) {
            expression += ")+";
        }
        EXPECT_EQ(levels == 9, regexFitsBudget(expression.c_str())) << levels;
    }

    RecordingController hostile(
        controlFile("<state name=\"s\"><error><stringmatch>^KI" + std::string(130, '+') +
                        "LL{</stringmatch><stringmatch>^KILL</stringmatch></error></state>",
                    "hostile.xml")
            .c_str());
    hostile.processInput("KIIILL{");
    hostile.processInput("KILL");
    EXPECT_EQ(hostile._events, (std::vector<std::string>{"error|(none)|(none)"}));
    EXPECT_TRUE(
        _log.has("StringMatcher: expression too large to compile, it matches nothing: ^KI+++"));
}

TEST_F(RenderControllerTest, MatcherExtractionAndContextOwnership) {
    StringMatcher matcher("took ([0-9]*)s", true);
    char out[8];
    EXPECT_TRUE(matcher.matchWithExtraction("took 42s total", out, sizeof out));
    EXPECT_STREQ(out, "42s");  // the group and the character after it
    EXPECT_TRUE(matcher.matchWithExtraction("took s", out, sizeof out));  // empty group
    EXPECT_FALSE(matcher.matchWithExtraction("nothing", out, sizeof out));
    EXPECT_FALSE(matcher.matchWithExtraction("took 1s", nullptr, 4));
    EXPECT_FALSE(matcher.matchWithExtraction("took 1s", out, 0));
    char tiny[3];
    EXPECT_TRUE(matcher.matchWithExtraction("took 12345s", tiny, sizeof tiny));
    EXPECT_STREQ(tiny, "12");

    StringMatcher plain(nullptr, false);
    EXPECT_FALSE(plain.isValid());
    EXPECT_FALSE(plain.doesMatch("anything"));

    {
        StringMatcher foreign("x", false);
        static int object = 0;
        foreign.setContextInfo(&object);
        foreign.setContextInfoOwnershipMode(2);
    }
    EXPECT_TRUE(
        _log.has("StringMatcher: Deletion of C++ contextInfo objects is currently not "
                 "supported.\n"));
}

TEST_F(RenderControllerTest, ParameterLinesJoinByPositionWithLeaderAndTrailer) {
    std::vector<std::string> lines = {
        "ext.render /opt/bin/render ($END) leader",
        "ext:frame 10 ($END) 2",
        "ext.scene /work/a.c4d ($END) 1",
        "ext.quiet $QUIET ($END) 1",
        "not a parameter line",
        "ext.log /tmp/log.txt ($END) trailer",
        "ext.threads 4 ($END) 7",
    };
    char out[256];
    ASSERT_TRUE(RenderController::deserializeParameterVector(&lines, out, sizeof out));
    EXPECT_STREQ(out,
                 "/opt/bin/render -scene /work/a.c4d -frame 10 -threads 4 -quiet /tmp/log.txt");
    EXPECT_TRUE(_log.has("ERROR\t\ndeserialization: No match"));

    char small[10];
    ASSERT_TRUE(RenderController::deserializeParameterVector(&lines, small, sizeof small));
    EXPECT_STREQ(small, "/opt/bin/");

    std::vector<std::string> none;
    ASSERT_TRUE(RenderController::deserializeParameterVector(&none, out, sizeof out));
    EXPECT_STREQ(out, "");
}

}  // namespace
