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
    // An address longer than the form's 1024 bytes is refused whole, even when those 1024 bytes
    // alone would pass.
    std::string fits = std::string(1018, 'a') + "@x.com";
    EXPECT_TRUE(PackageRequest::isValidEmailAddress(fits.c_str()));
    EXPECT_FALSE(PackageRequest::isValidEmailAddress((fits + "!!").c_str()));
}

}  // namespace
