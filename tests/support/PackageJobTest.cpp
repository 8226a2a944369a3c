// The package job in-process: its observer calls and the alert for a missing archive name.
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

TEST_F(PackageJobTest, MissingArchiveNameIsReportedAndTheJobGoesOn) {
    PackageRequest request;
    request._commandTimeout = 30;
    RecordingObserver observer;
    PackageJobResult result = PackageJob::run(request, &observer);

    ASSERT_TRUE(result._created);
    // Saving reports success once the manifest is written, archive or not: the command line
    // checks the archive itself.
    EXPECT_EQ(result._saved, 1);
    ASSERT_EQ(observer._alerts.size(), 1u);
    EXPECT_EQ(observer._alerts[0], "Error creating suppport package.|No Filename provided.");
    ASSERT_EQ(observer._steps.size(), 21u);
    EXPECT_EQ(observer._steps.front(), "1/21 system report");
    EXPECT_EQ(observer._steps[15], "16/21 version 1 render queue");
    EXPECT_EQ(observer._steps.back(), "21/21 attachments");
    // Everything was still collected into the staging folder, which is left in place.
    EXPECT_TRUE(corvix_test::exists(result._stagingFolder + "/system/userInfo.txt"));
    EXPECT_EQ(result._message,
              "The support package \"\" has been created.\n\n"
              "Please email this file to support@orvanta.example");
    SupportPackage::killDirectory(result._stagingFolder.c_str());
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
