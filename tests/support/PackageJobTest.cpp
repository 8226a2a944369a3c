// The package job in-process: its observer calls, its result, its checks and its cancel.
#include <sys/stat.h>

#include <string>
#include <vector>

#include "PackageJob.h"
#include "SupportPackage.h"
#include "TestEnvironment.h"
#include "VeskPlatform.h"

namespace {

class RecordingObserver : public PackageJobObserver {
  public:
    void packageStep(int index, int total, const std::string& label) override {
        _steps.push_back(std::to_string(index) + "/" + std::to_string(total) + " " + label);
    }
    void packageAlert(const std::string& title, const std::string& message) override {
        _alerts.push_back(title + "|" + message);
    }
    std::vector<std::string> _steps;
    std::vector<std::string> _alerts;
};

class PackageJobTest : public corvix_test::SandboxTest {};

TEST_F(PackageJobTest, MissingArchiveNameIsReportedAndNothingIsCalledCreated) {
    PackageRequest request;
    request._commandTimeout = 30;
    request._liveCommands = true;
    RecordingObserver observer;
    PackageJobResult result = PackageJob::run(request, &observer);

    EXPECT_EQ(result._status, PackageJobStatus::Failed);
    EXPECT_EQ(result._error, "No Filename provided.");
    EXPECT_EQ(result._message, "");
    ASSERT_EQ(observer._alerts.size(), 1u);
    EXPECT_EQ(observer._alerts[0], "Error creating suppport package.|No Filename provided.");
    ASSERT_EQ(observer._steps.size(), 21u);
    EXPECT_EQ(observer._steps.front(), "1/21 system report");
    EXPECT_EQ(observer._steps[15], "16/21 version 1 render queue");
    EXPECT_EQ(observer._steps.back(), "21/21 attachments");
    // Everything was still collected into the staging folder, which is left in place.
    EXPECT_TRUE(corvix_test::exists(result._stagingFolder + "/system/userInfo.txt"));
    SupportPackage::killDirectory(result._stagingFolder.c_str());
}

// Cancel pressed while step 4 runs: the result says so, the old archive and nothing else stays.
TEST_F(PackageJobTest, CancelBetweenRowsLeavesTheOldArchiveAndNoStagingFolder) {
    PackageRequest request;
    request._fileName = tmp("support.zip");
    corvix_test::writeFile(tmp("support.zip"), "old archive");
    struct Canceller : RecordingObserver {
        void packageStep(int index, int total, const std::string& label) override {
            RecordingObserver::packageStep(index, total, label);
            if (index == 4) {
                _cancel.request();
            }
        }
        PackageCancelFlag _cancel;
    } observer;
    PackageJobResult cancelled = PackageJob::run(request, &observer, &observer._cancel);
    EXPECT_EQ(cancelled._status, PackageJobStatus::Cancelled);
    EXPECT_EQ(observer._steps.size(), 4u);
    EXPECT_TRUE(cancelled._stagingRemoved);
    EXPECT_FALSE(corvix_test::exists(cancelled._stagingFolder));
    EXPECT_EQ(corvix_test::readFile(tmp("support.zip")), "old archive");
}

// What a front end checks before collecting, each refused with the value it concerns.
TEST_F(PackageJobTest, ChecksRefuseWhatCannotBeCollectedOrReplaced) {
    ASSERT_EQ(mkfifo(tmp("fifo").c_str(), 0666), 0);
    corvix_test::writeFile(tmp("ok.txt"), "x");
    const std::string longPath = tmp(std::string(1100, 'n'));
    struct Case {
        std::string _output, _attachment, _email, _expected;
    } cases[] = {
        {"/dev/null", "", "", "the archive path \"/dev/null\" is a character device, not a"},
        {tmp(), "", "", "the archive path \"" + tmp() + "\" is a folder, not a regular file"},
        {tmp("no/x.zip"), "", "", "the folder \"" + tmp("no") + "\" for the archive does not"},
        {longPath, "", "", "the archive path is too long (" + std::to_string(longPath.size())},
        {"", tmp("gone"), "", "the attachment \"" + tmp("gone") + "\" cannot be read: No such"},
        {"", tmp("fifo"), "", "cannot be read: is a FIFO, not a regular file"},
        {"", longPath, "", "cannot be read: its path is too long"},
        {"", "", "ann@example.c", "Invalid email address: \"ann@example.c\""},
        // Its first 1024 bytes are a valid address: it must not pass on those.
        {"", "", std::string(1018, 'a') + "@x.com!!", "it is longer than 1024 bytes"},
        {tmp("new.zip"), tmp("ok.txt"), "ann@example.com", ""},
    };
    for (const Case& c : cases) {
        PackageRequest request;
        request._fileName = c._output;
        if (!c._attachment.empty()) {
            request._fileAttachments.push_back(c._attachment);
        }
        if (!c._email.empty()) {
            request._email = c._email;
        }
        std::string why;
        EXPECT_EQ(PackageJob::checkRequest(request, &why), c._expected.empty()) << c._expected;
        EXPECT_NE(why.find(c._expected), std::string::npos) << why;
    }
    // Rows left out and a map given back.
    struct Privacy {
        std::vector<std::string> _excluded;
        std::string _map, _expected;
    } privacy[] = {
        {{"process-list", "nope"}, "", "no row named \"nope\" to leave out; the rows are: system-"},
        {{"system-report"}, "", "the system report (system.xml) cannot be left out"},
        {{}, tmp("gone.map"), "the pseudonym map \"" + tmp("gone.map") + "\" cannot be read: No"},
        {{}, tmp("ok.txt"), "is not a pseudonym map: line 1: not three fields"},
        {{"process-list", "user-id"}, "", ""},
    };
    for (const Privacy& c : privacy) {
        PackageRequest request;
        request._excludedRows = c._excluded;
        request._redactMap = c._map;
        std::string why;
        EXPECT_EQ(PackageJob::checkRequest(request, &why), c._expected.empty()) << c._expected;
        EXPECT_NE(why.find(c._expected), std::string::npos) << why;
    }
}

TEST_F(PackageJobTest, PlanFindsMachineFilesEvenBelowARootWithGlobCharacters) {
    // A root holding glob's special characters must not turn into a pattern of its own.
    const std::string odd = tmp("root [x]*");
    vesk_setMachineRoot(odd);
    corvix_test::writeFile(odd +
                               "/Library/Application Support/Orvanta Software/CorvixPro2/"
                               "RenderQueue/RQ.txt",
                           "queue");
    std::vector<PackagePlanRow> plan = PackageJob::plan(PackageRequest());
    ASSERT_EQ(plan.size(), 21u);
    ASSERT_EQ(plan[18]._items.size(), 1u);
    EXPECT_EQ(plan[18]._items[0]._size, 5);
    EXPECT_TRUE(plan[15]._items.empty());
}

}  // namespace
