// Pseudonymizer: replaces the names and addresses that identify a machine and its user in a text
// by stable stand-ins, and keeps the map from real value to stand-in.
//
// What it hides:
// - names given with addHostName (and, for a dotted name, its first label and its domain when
//   the domain itself holds a dot) by "host0", "host1", ...; a name matches case-insensitively
//   where neither neighbour is a letter, digit, '_' or '-';
// - the user given with setUser: login name and full name by "user0", the home folder by
//   "/home/user0", with the same boundaries;
// - every IPv4 address (except 0.0.0.0/8, 127.0.0.0/8, multicast and above) by one of the
//   documentation networks: each real /24 network gets the
//   next of 192.0.2.0/24, 198.51.100.0/24, 203.0.113.0/24, then 198.18.0.0/15 one /24 at a time;
//   the last byte is kept, so a gateway stays ".1" and hosts of one network stay in one network;
// - every IPv6 address (except ::, ::1 and multicast) by one in 2001:db8::/32:
//   each real /64 prefix gets 2001:db8:N::/64 (N = 0, 1, ...); an interface identifier below
//   0x10000 (::1, ::2 set by hand) is kept, any other (one derived from a MAC address) gets
//   ::1:M (M = 0, 1, ...);
// - every MAC address (six pairs of hex digits separated by ':' or '-', except all zeros and all
//   ones) by a locally administered one, 02:00:00:xx:xx:xx numbered in order, written with the
//   original separator and letter case.
// A value maps to one stand-in for the life of the object, whatever text it is found in.
//
// Ownership and threads: a plain value object; one thread at a time.
// Failure: loadMap refuses a map it cannot read whole, saying which line is wrong.
#ifndef CORVIX_SUPPORT_PSEUDONYMIZER_H
#define CORVIX_SUPPORT_PSEUDONYMIZER_H

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

class Pseudonymizer {
  public:
    // A name of this machine or its network. Names shorter than two characters, all digits, or
    // with a blank, a tab or a newline are ignored, as is "localhost".
    void addHostName(const std::string& name);

    // The user to hide. An empty value, or the login or full name "root" (on every machine, so
    // it says nothing about this one), is ignored; a home folder of "/" too.
    void setUser(const std::string& loginName, const std::string& fullName,
                 const std::string& homeFolder);

    // The stand-in text for text. Assigns stand-ins to values seen for the first time.
    std::string apply(const std::string& text);

    // Takes the pairs of a map written by mapText (all or nothing): the same values get the same
    // stand-ins, names in it are hidden too, and new values get numbers not yet used. False, with
    // the line at fault in *why, for anything else.
    bool loadMap(const std::string& text, std::string* why);

    // Every pair known, one per line: kind, real value and stand-in separated by tabs, after one
    // comment line. Kinds: host, user, home, ipv4, ipv6, mac.
    std::string mapText() const;

    struct Pair {
        std::string _kind, _real, _pseudonym;
    };
    const std::vector<Pair>& pairs() const { return _pairs; }

  private:
    struct Literal {
        std::string _lower;  // the real text, lower case
        std::string _pseudonym;
    };
    using Ipv6 = std::array<uint8_t, 16>;

    void addHost(const std::string& lowerName);
    void addLiteral(const std::string& kind, const std::string& real, const std::string& pseudonym);
    std::string nextName(const char* prefix, const std::set<std::string>& taken) const;
    bool matchLiteral(const std::string& text, size_t at, std::string* out, size_t* length) const;
    bool matchAddress(const std::string& text, size_t at, std::string* out, size_t* length);
    std::string ipv4(const uint8_t real[4]);
    std::string ipv6(const Ipv6& real);
    std::string mac(const std::string& text);
    void record(const std::string& kind, const std::string& real, const std::string& pseudonym);

    std::vector<Literal> _literals;                 // longest first
    std::array<std::vector<size_t>, 256> _byFirst;  // literal indexes by lower-case first byte
    std::array<bool, 256> _startByte{};             // a byte a match may begin with
    std::set<std::string> _hostPseudonyms, _userPseudonyms;
    std::map<std::string, std::string> _hostByName;  // lower-case name -> stand-in
    std::map<std::string, std::string> _userByName;  // lower-case login or full name -> stand-in

    // The stand-ins of one kind of value: a value seen again gets its stand-in again, a new one
    // the first candidate(0), candidate(1), ... below limit that is not taken.
    struct Numbering {
        std::map<uint64_t, uint64_t> _byReal;
        std::set<uint64_t> _taken;
        uint64_t standIn(uint64_t real, uint64_t (*candidate)(uint64_t), uint64_t limit);
        void assign(uint64_t real, uint64_t standIn) {
            _byReal[real] = standIn;
            _taken.insert(standIn);
        }
    };
    Numbering _ipv4Networks;    // /24 networks, the top 24 bits
    Numbering _ipv6Prefixes;    // the top 64 bits
    Numbering _ipv6Interfaces;  // the low 64 bits, 0x10000 and above
    Numbering _macs;            // 48 bits

    std::set<std::string> _recorded;  // kind + '\t' + real
    std::vector<Pair> _pairs;
};

#endif
