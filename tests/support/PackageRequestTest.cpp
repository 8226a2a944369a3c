// The support form's e-mail check.
#include <string>

#include "PackageRequest.h"
#include "TestEnvironment.h"

namespace {

TEST(PackageRequest, EmailAddressesAsTheFormJudgesThem) {
    for (const char* good :
         {"ann.lee-2@studio-x.de", "a@b.co", "first_last@mail.example.museum", "x9@a.b.c.info"}) {
        EXPECT_TRUE(PackageRequest::isValidEmailAddress(good)) << good;
    }
    for (const char* bad :
         {"ann@example.c", "ann@example.abcdefg", ".ann@example.com", "_ann@example.com",
          "ann@@example.com", "a@b@example.com", "ann@example", "ann example@x.com", ""}) {
        EXPECT_FALSE(PackageRequest::isValidEmailAddress(bad)) << bad;
    }
    EXPECT_FALSE(PackageRequest::isValidEmailAddress(nullptr));
    // Only the first 1024 bytes are judged: a valid address padded past them no longer ends in
    // its top-level label.
    std::string longLocal(1030, 'a');
    EXPECT_FALSE(PackageRequest::isValidEmailAddress((longLocal + "@x.com").c_str()));
    EXPECT_TRUE(PackageRequest::isValidEmailAddress((std::string(1000, 'a') + "@x.com").c_str()));
}

}  // namespace
