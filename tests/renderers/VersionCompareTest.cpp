// The version ordering and the string helpers of the render control reader.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "RenderStrings.h"
#include "VersionCompare.h"

namespace {

// Ours, not the C library's function of the same name.
using corvix::strverscmp;

TEST(VersionCompareTest, DesignedPairs) {
    EXPECT_EQ(1, strverscmp("2.10", "2.9"));
    EXPECT_EQ(-1, strverscmp("2.9", "2.10"));
    EXPECT_EQ(1, strverscmp("R10", "R9"));
    EXPECT_EQ(-1, strverscmp("abc", "abd"));
    std::string a = "abc", b = "abc";
    EXPECT_EQ(0, strverscmp(a.c_str(), b.c_str()));
    std::string e1, e2;
    EXPECT_EQ(-1, strverscmp(e1.c_str(), e2.c_str()));
    EXPECT_EQ(0, strverscmp(e1.c_str(), e1.c_str()));
    EXPECT_EQ(1, strverscmp("a", ""));
    EXPECT_EQ(-1, strverscmp("", "1"));
    EXPECT_EQ(1, strverscmp("10", "9"));
    EXPECT_EQ(-1, strverscmp("1.0", "1a"));
    EXPECT_EQ(1, strverscmp("1a", "1.0"));
    // A digit sorts after a letter at the same position; digits compare as numbers, not text.
    EXPECT_EQ(1, strverscmp("a1", "ab"));
    EXPECT_EQ(1, strverscmp("10.1", "10"));
    EXPECT_EQ(-1, strverscmp("9.5", "10"));
    EXPECT_EQ(0, strverscmp("1.01", "1.1"));
    EXPECT_EQ(1, strverscmp("B", "A"));
    EXPECT_EQ(-1, strverscmp("A", "a"));
    EXPECT_EQ(1, strverscmp("\xe9", "z"));
    // Runs longer than any integer type still compare by value.
    EXPECT_EQ(1, strverscmp("1.200000000000000000000001", "1.200000000000000000000000"));
}

std::string randomVersion(std::mt19937& random) {
    static const char kAlphabet[] = "0123456789..abAB-";
    std::uniform_int_distribution<int> length(0, 9);
    std::uniform_int_distribution<int> pick(0, sizeof kAlphabet - 2);
    std::uniform_int_distribution<int> longRun(0, 40);
    std::string s;
    int n = length(random);
    for (int i = 0; i < n; ++i) {
        s += kAlphabet[pick(random)];
        if (longRun(random) == 0) {
            s += std::string(static_cast<size_t>(longRun(random)) + 20, '0' + pick(random) % 10);
        }
    }
    return s;
}

int sign(int v) {
    return (v > 0) - (v < 0);
}

// Antisymmetric and transitive over generated strings: the ordering the renderers' sorts rely on.
TEST(VersionCompareTest, OrdersGeneratedVersionsConsistently) {
    std::mt19937 random(20240611);
    std::vector<std::string> versions;
    for (int i = 0; i < 3000; ++i) {
        versions.push_back(randomVersion(random));
    }
    std::uniform_int_distribution<size_t> index(0, versions.size() - 1);
    for (int n = 0; n < 200000; ++n) {
        const std::string& a = versions[index(random)];
        const std::string& b = versions[index(random)];
        const std::string& c = versions[index(random)];
        int ab = strverscmp(a.c_str(), b.c_str());
        int ba = strverscmp(b.c_str(), a.c_str());
        ASSERT_TRUE(ab >= -1 && ab <= 1);
        if (a.empty() && b.empty()) {
            continue;
        }
        ASSERT_EQ(sign(ab), -sign(ba)) << '"' << a << "\" \"" << b << '"';
        int bc = strverscmp(b.c_str(), c.c_str());
        int ac = strverscmp(a.c_str(), c.c_str());
        if ((a.empty() && c.empty()) || (b.empty() && c.empty())) {
            continue;
        }
        if (ab <= 0 && bc <= 0) {
            ASSERT_LE(ac, 0) << '"' << a << "\" \"" << b << "\" \"" << c << '"';
        }
        if (ab == 0 && bc == 0) {
            ASSERT_EQ(0, ac) << '"' << a << "\" \"" << b << "\" \"" << c << '"';
        }
    }
}

TEST(RenderStringsTest, CopiesInclusiveRangesAndTrimsSpaces) {
    char* all = r_strdup("abc", 0, 2);
    ASSERT_NE(nullptr, all);
    EXPECT_STREQ("abc", all);
    free(all);
    char* tail = r_strdup("abc", 1, 5);
    ASSERT_NE(nullptr, tail);
    EXPECT_STREQ("bc", tail);
    free(tail);
    EXPECT_EQ(nullptr, r_strdup("abc", 1, 1));
    EXPECT_EQ(nullptr, r_strdup("abc", 2, 1));
    EXPECT_EQ(nullptr, r_strdup("abc", -1, 2));
    EXPECT_EQ(nullptr, r_strdup(nullptr, 0, 2));

    char word[] = "word  ";
    EXPECT_EQ(word, trim(word));
    EXPECT_STREQ("word", word);
    char spaces[] = "   ";
    EXPECT_STREQ("   ", trim(spaces));
    char tab[] = " a\t ";
    EXPECT_STREQ(" a\t", trim(tab));
    char empty[] = "";
    EXPECT_STREQ("", trim(empty));
    EXPECT_EQ(nullptr, trim(nullptr));
}

}  // namespace
