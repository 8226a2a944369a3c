// The Maintenance view's logic: the dialogs and their order, the tasks and their order under an
// error, and the logging level in the two user configuration files.
#include <string>
#include <vector>

#include "MaintenanceDialogs.h"
#include "MaintenanceTasks.h"
#include "MaintenanceTest.h"
#include "VeskConfig.h"

using namespace corvix_test;

namespace {

class ScriptedDialogs : public MaintenanceDialogs {
  public:
    void showAlert(Alert alert, const char* title, const char* message) override {
        shown.push_back(std::to_string(alert) + " " + title + " | " + message);
    }
    bool confirmReset(const char* title, const char* message, const char* defaultButton,
                      const char* otherButton) override {
        shown.push_back(std::string("? ") + title + " | " + message + " | " + defaultButton +
                        " | " + otherButton);
        return answerYes;
    }
    std::vector<std::string> shown;
    bool answerYes = true;
};

const std::string kQuestion =
    "? Are you sure you want to reset your settings | These changes are irreversible and will "
    "remove all settings and history. | No | Yes";
const std::string kCompleted =
    std::to_string(MaintenanceDialogs::kMaintenanceCompleted) +
    " Maintenace tasks completed. | The maintenance tasks that you have selected have been "
    "succesfully executed.";

class MaintenanceTasksTest : public MaintenanceTest {
  protected:
    std::string product(const std::string& item) const { return productFolder() + item; }
    void makeState() {
        for (const char* item :
             {"RenderQueue/RQ.txt", "Cache/frame", "Config.txt", "FrameCache.cpr"}) {
            writeFile(product(item), "x");
        }
        writeFile(userFolder() + "corvix.log", "l");
        writeFile(userFolder() + "CorvixPro2.cfg", "x");
    }
    std::string value(const char* fileName, const char* key) {
        VeskConfig config("/", fileName);
        char buffer[1024] = {0};
        config.getValue(key, buffer);
        return buffer;
    }
    // Each step's state and count of files removed, "state:removed" in step order.
    static std::string steps(const MaintenanceReport& report) {
        std::string text;
        for (const MaintenanceStepResult& step : report.steps) {
            text += std::to_string(step.state) + ":" + std::to_string(step.files.removed) + " ";
        }
        return text;
    }
    ScriptedDialogs _dialogs;
};

// (That a declined question deletes nothing is checked through the clean command's answers.)
TEST_F(MaintenanceTasksTest, TasksRunOnlyWhenSelectedAndConfirmed) {
    makeState();
    const MaintenanceSelection all{true, true, true, true};
    EXPECT_FALSE(MaintenanceTasks::execute(MaintenanceSelection{}, _dialogs).ran);
    _dialogs.answerYes = false;
    EXPECT_FALSE(MaintenanceTasks::execute(all, _dialogs).ran);
    _dialogs.answerYes = true;
    MaintenanceReport report = MaintenanceTasks::execute(all, _dialogs);
    EXPECT_TRUE(report.ran);
    EXPECT_TRUE(report.complete());
    EXPECT_EQ("1:1 1:1 1:1 1:1 1:1 1:1 ", steps(report));
    EXPECT_EQ((std::vector<std::string>{std::to_string(MaintenanceDialogs::kNoTasksSelected) +
                                            " No maintenance tasks have been selected. | Please "
                                            "check off some maintenance tasks to perform and try "
                                            "again.",
                                        kQuestion, kQuestion, kCompleted}),
              _dialogs.shown);
}

TEST_F(MaintenanceTasksTest, LogFailureSkipsLaterTasksAndStillCompletes) {
    makeState();
    runCommand("rm -rf '" + userFolder() + "'");
    writeFile(home() + "/.config/Orvanta/Corvix", "not a folder");

    MaintenanceReport report =
        MaintenanceTasks::execute(MaintenanceSelection{true, true, true, true}, _dialogs);
    EXPECT_TRUE(report.failed);
    EXPECT_FALSE(report.complete());
    EXPECT_EQ("1:1 2:0 3:0 3:0 3:0 3:0 ", steps(report));
    std::string error = "Could not open \"" + userFolder() + "\" for directory listing.";
    EXPECT_EQ(error, report.error);
    EXPECT_EQ((std::vector<std::string>{kQuestion,
                                        std::to_string(MaintenanceDialogs::kMaintenanceFailed) +
                                            " Error performing maintenance. | " + error,
                                        kCompleted}),
              _dialogs.shown);
}

// What a step found and could not delete is said before the completion alert, naming the step.
TEST_F(MaintenanceTasksTest, FilesLeftBehindAreReportedBeforeCompletion) {
    makeState();
    writeFile(userFolder() + "corvix.cfg/keep", "x");
    MaintenanceReport report =
        MaintenanceTasks::execute(MaintenanceSelection{true, false, true, false}, _dialogs);
    EXPECT_FALSE(report.complete());
    EXPECT_EQ((std::vector<std::string>{
                  kQuestion,
                  std::to_string(MaintenanceDialogs::kMaintenanceIncomplete) +
                      " Error performing maintenance. | User configuration files: 1 could not be "
                      "deleted, the first: " +
                      userFolder() + "/corvix.cfg: Directory not empty",
                  kCompleted}),
              _dialogs.shown);
    EXPECT_FALSE(exists(product("Config.txt")));
}

TEST_F(MaintenanceTasksTest, LoggingLevelIsReadFromBothFilesAndWrittenToTheSecond) {
    // Peeking creates nothing; the view's reading creates both files.
    int item = -1;
    std::string error;
    EXPECT_TRUE(MaintenanceTasks::peekLoggingLevel(&item, &error));
    EXPECT_EQ(kLoggingOff, item);
    EXPECT_FALSE(exists(home() + "/.config"));
    EXPECT_EQ(kLoggingOff, MaintenanceTasks::readLoggingLevel());
    EXPECT_TRUE(exists(userFolder() + "corvix.cfg") && exists(userFolder() + "CorvixPro2.cfg"));

    EXPECT_TRUE(MaintenanceTasks::writeLoggingLevel(kLoggingDeveloper, _dialogs));
    EXPECT_EQ("1", value("CorvixPro2.cfg", "corvix.dev.logging"));
    EXPECT_EQ("0", value("corvix.cfg", "corvix.logging"));
    EXPECT_EQ(kLoggingDeveloper, MaintenanceTasks::readLoggingLevel());
    EXPECT_EQ(std::vector<std::string>{std::to_string(MaintenanceDialogs::kRestartRequired) +
                                       " Please restart After Effects for the setting to take "
                                       "effect. | Your new logging level setting will be honored "
                                       "after you restart After Effects."},
              _dialogs.shown);

    // The second file decides wherever it has a value.
    {
        VeskConfig first("/", "corvix.cfg");
        first.setValue("corvix.logging", "1");
        first.setValue("corvix.dev.logging", "1");
        first.writeToDisk();
    }
    EXPECT_TRUE(MaintenanceTasks::writeLoggingLevel(7, _dialogs));
    EXPECT_EQ("0", value("CorvixPro2.cfg", "corvix.logging"));
    EXPECT_TRUE(MaintenanceTasks::peekLoggingLevel(&item, &error));
    EXPECT_EQ(kLoggingOff, item);
    EXPECT_EQ("1", value("corvix.cfg", "corvix.logging"));
}

// A level that cannot be stored is said so instead of asking for a restart; a file that cannot
// be read makes peeking fail, naming it.
TEST_F(MaintenanceTasksTest, LevelThatCannotBeStoredOrReadIsReported) {
    makeDirs(userFolder() + "CorvixPro2.cfg");
    _dialogs.shown.clear();
    EXPECT_FALSE(MaintenanceTasks::writeLoggingLevel(kLoggingOn, _dialogs));
    const std::string reason = userFolder() + "CorvixPro2.cfg is a folder, not a regular file";
    EXPECT_EQ(std::vector<std::string>{std::to_string(MaintenanceDialogs::kLoggingLevelNotSaved) +
                                       " The logging level could not be saved. | " + reason},
              _dialogs.shown);
    int item = -1;
    std::string error;
    EXPECT_FALSE(MaintenanceTasks::peekLoggingLevel(&item, &error));
    EXPECT_EQ(reason, error);
    EXPECT_EQ(kLoggingOff, item);
}

}  // namespace
