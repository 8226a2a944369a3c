// The frame cache registry "FrameCache.cpr": string entries under project name hashes.
#include <cstdlib>

#include "QuadenStoreTest.h"
#include "Quaden_PISSFrameCacheRegistry.h"

using namespace corvix_test;

namespace {

class FrameCacheRegistryTest : public QuadenStoreTest {
  protected:
    std::string registryFile() const { return productFolder() + "FrameCache.cpr"; }
    // The value under project and key, "<none>" when there is none.
    static std::string value(QuadenPISSFrameCacheRegistry& registry, const char* project,
                             const char* key = "PathToCache") {
        char* text = nullptr;
        std::string found = registry.GetItem(&text, project, key) ? text : "<none>";
        free(text);
        return found;
    }
};

TEST_F(FrameCacheRegistryTest, RoundTripLookupAndDeleteOneProject) {
    const std::string a = md5sum("Project A");
    const std::string b = md5sum("Project B");
    const std::string text = a + " string\tPathToCache /caches/a dir/\n" + b +
                             " string\tPathToCache /caches/b/\n" + a + " string\tOther x\n";
    writeFile(registryFile(), text);
    QuadenPISSFrameCacheRegistry registry;
    EXPECT_EQ(std::string(registry.getPathToRegistryFile()), registryFile());
    ASSERT_EQ(registry.NumberOfKeyValuePairsInList(), 3u);
    ASSERT_EQ(registry.Commit(), 1);
    EXPECT_EQ(readFile(registryFile()), text);

    EXPECT_EQ("/caches/a dir/", value(registry, "Project A"));
    EXPECT_EQ(registry.DeleteItem("Project A"), 1);
    EXPECT_EQ(registry.DeleteItem("Project A"), 0);
    EXPECT_EQ("<none>", value(registry, "Project A"));
    EXPECT_EQ(registry.NumberOfKeyValuePairsInList(), 1u);
    EXPECT_EQ(registry.Add("Project C", "PathToCache", "/c"), 1);
    EXPECT_EQ(registry.Add("Project C", "PathToCache", "/c2"), 1);
    EXPECT_EQ(registry.ChangeItem("Project B", "PathToCache", "/b2"), 1);
    EXPECT_EQ(registry.ChangeItem("Project B", "PathToCache", nullptr), 0);
    EXPECT_EQ(registry.ChangeItem("Project A", "PathToCache", "/a"), 0);
    EXPECT_EQ("/c", value(registry, "Project C"));
    ASSERT_EQ(registry.Commit(), 1);
    const std::string c = md5sum("Project C");
    EXPECT_EQ(readFile(registryFile()), b + " string\tPathToCache /b2\n" + c +
                                            " string\tPathToCache /c\n" + c +
                                            " string\tPathToCache /c2\n");
}

TEST_F(FrameCacheRegistryTest, BadLinesAreSkippedOrEndTheLoad) {
    const std::string a = md5sum("Project A");
    writeFile(registryFile(), a + " string\n" + a + " string\tNoValue \t\n" + a +
                                  " string\tPathToCache " + std::string(1200, 'p') + "\n" + a +
                                  " int\tCount 3\n" + a + " string\tLost x\n");
    QuadenPISSFrameCacheRegistry registry;
    EXPECT_EQ(registry.NumberOfKeyValuePairsInList(), 1u);
    EXPECT_TRUE(logged("WARNING\tPersisentFrameCacheRegistry: keyValue was NULL\n"));
    EXPECT_TRUE(logged(
        "WARNING\tPersisentFrameCacheRegistry: stringRemainder was NULL for key: NoValue\n"));
    EXPECT_TRUE(logged(
        "WARNING\tPersisentFrameCacheRegistry:  type not yet supported: int for key: Count\n"));

    runCommand("rm -rf '" + productFolder() + "'");
    QuadenPISSFrameCacheRegistry missing;
    EXPECT_EQ(missing.NumberOfKeyValuePairsInList(), 0u);
    EXPECT_EQ(missing.Commit(), 0);
    EXPECT_TRUE(
        logged("WARNING\tPersisentFrameCacheRegistry: Commit: Cannot open generic config "
               "file '" +
               registryFile() + "' for writing\n"));
}

}  // namespace
