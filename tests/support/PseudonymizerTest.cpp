// Pseudonymizer: what it recognises and leaves alone, the stand-ins' forms, consistency across
// texts, and a map given back.
#include <string>

#include "Pseudonymizer.h"
#include "TestEnvironment.h"

namespace {

class PseudonymizerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        _p.addHostName("BuildBox.corp.example.net");
        _p.setUser("annlee", "Ann Lee", "/home/annlee/");
    }
    Pseudonymizer _p;
};

TEST_F(PseudonymizerTest, ReplacesNamesAndAddressesAndLeavesTheRest) {
    const struct {
        const char* in;
        const char* out;
    } cases[] = {
        // Names: whole words, any case; a longer name before its first label.
        {"buildbox.corp.example.net up", "host0 up"},
        {"Host BUILDBOX, domain corp.example.net.", "Host host1, domain host2."},
        {"mybuildbox buildbox-2 buildbox_x buildbox.lan",
         "mybuildbox buildbox-2 buildbox_x "
         "buildbox.lan"},
        {"annlee: Ann Lee /home/annlee/x /home/annleex",
         "user0: user0 /home/user0/x /home/annleex"},
        // IPv4: the /24 goes to a documentation network, the last byte stays.
        {"10.1.2.3 10.1.2.254/24 172.16.0.9:80", "192.0.2.3 192.0.2.254/24 198.51.100.9:80"},
        {"addr:10.1.2.7 mask 255.255.255.0 lo 127.0.0.1",
         "addr:192.0.2.7 mask 255.255.255.0 lo "
         "127.0.0.1"},
        {"v1.2.3.4.5 0.0.0.0 224.0.0.251 192.0.2.9", "v1.2.3.4.5 0.0.0.0 224.0.0.251 203.0.113.9"},
        // IPv6: the /64 goes to 2001:db8:N::, a derived interface identifier to ::1:M.
        {"inet6 2a02:1234:5678:9abc:21a:2bff:fe3c:4d5e/64", "inet6 2001:db8::1:0/64"},
        {"fe80::21a:2bff:fe3c:4d5e%eth0 fe80::2 ::1 ff02::1",
         "2001:db8:1::1:0%eth0 "
         "2001:db8:1::2 ::1 ff02::1"},
        // MAC: locally administered, separator and case kept; times are no addresses.
        {"ether 00:1A:2B:3C:4D:5E brd ff:ff:ff:ff:ff:ff",
         "ether 02:00:00:00:00:01 brd "
         "ff:ff:ff:ff:ff:ff"},
        {"00-1a-2b-3c-4d-5f at 04:00:16", "02-00-00-00-00-02 at 04:00:16"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(_p.apply(c.in), c.out) << c.in;
    }
    // The same values in another text get the same stand-ins.
    EXPECT_EQ(_p.apply("BuildBox 10.1.2.99 00:1a:2b:3c:4d:5e"),
              "host1 192.0.2.99 02:00:00:00:00:01");
}

TEST_F(PseudonymizerTest, AMapGivenBackGivesTheSameStandInsAndNewOnesAfterThem) {
    const std::string text = "buildbox 10.1.2.3 fe80::21a:2bff:fe3c:4d5e 00:1a:2b:3c:4d:5e annlee";
    const std::string hidden = _p.apply(text);
    const std::string map = _p.mapText();
    for (const char* pair :
         {"host\tbuildbox\thost1\n", "user\tAnn Lee\tuser0\n", "home\t/home/annlee\t/home/user0\n",
          "ipv4\t10.1.2.3\t192.0.2.3\n", "mac\t00:1a:2b:3c:4d:5e\t02:00:00:00:00:01\n",
          "ipv6\tfe80::21a:2bff:fe3c:4d5e\t2001:db8::1:0\n"}) {
        EXPECT_NE(map.find(pair), std::string::npos) << pair << map;
    }

    Pseudonymizer next;
    std::string why;
    ASSERT_TRUE(next.loadMap(map, &why)) << why;
    next.addHostName("otherbox");
    EXPECT_EQ(next.apply(text), hidden);
    EXPECT_EQ(next.apply("otherbox 10.9.9.1 00:1a:2b:3c:4d:60"),
              "host3 198.51.100.1 02:00:00:00:00:02");

    for (const char* bad : {"host\tx\n", "ipv4\t10.1.2.3\tnot-an-address\n", "dns\ta\tb\n"}) {
        Pseudonymizer refused;
        EXPECT_FALSE(refused.loadMap(std::string("# map\n") + bad, &why)) << bad;
        EXPECT_EQ(why.rfind("line 2: ", 0), 0u) << why;
        EXPECT_TRUE(refused.pairs().empty());
    }
}

}  // namespace
