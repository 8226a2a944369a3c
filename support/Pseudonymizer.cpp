#include "Pseudonymizer.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <sstream>
#include <string_view>

namespace {

char lower(char c) {
    return static_cast<char>(tolower(static_cast<unsigned char>(c)));
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), lower);
    return text;
}

// Byte classes, by table: the scan looks at every byte of every text of a package.
enum : uint8_t { kAlnum = 1, kHex = 2, kWord = 4 };

struct ByteClasses {
    uint8_t _of[256] = {};
    ByteClasses() {
        for (int c = 0; c < 256; ++c) {
            _of[c] = static_cast<uint8_t>((isalnum(c) && c < 128 ? kAlnum | kWord : 0) |
                                          (isxdigit(c) && c < 128 ? kHex : 0));
        }
        _of[static_cast<unsigned char>('_')] |= kWord;
    }
};
const ByteClasses kClasses;

bool isAlnum(char c) {
    return kClasses._of[static_cast<unsigned char>(c)] & kAlnum;
}

bool isHex(char c) {
    return kClasses._of[static_cast<unsigned char>(c)] & kHex;
}

// A byte that continues a word: a name or an address never starts or ends next to one.
bool isWordByte(char c) {
    return kClasses._of[static_cast<unsigned char>(c)] & kWord;
}

int hexValue(char c) {
    return isdigit(static_cast<unsigned char>(c)) ? c - '0' : lower(c) - 'a' + 10;
}

// The /24 networks stand-ins come from, in the order they are handed out: the three
// documentation networks, then the benchmarking range 198.18.0.0/15.
const uint32_t kDocumentationNetworks[] = {0xC00002, 0xC63364, 0xCB0071};
const uint32_t kBenchmarkingNetworks = 0xC61200;
const uint32_t kNetworkCount = 3 + 512;

uint32_t networkAt(uint32_t index) {
    return index < 3 ? kDocumentationNetworks[index] : kBenchmarkingNetworks + (index - 3);
}

uint64_t half(const uint8_t* bytes) {
    uint64_t value = 0;
    for (int i = 0; i < 8; ++i) {
        value = value << 8 | bytes[i];
    }
    return value;
}

std::string ipv6Text(uint64_t prefix, uint64_t interface) {
    uint8_t bytes[16];
    for (int i = 0; i < 8; ++i) {
        bytes[i] = static_cast<uint8_t>(prefix >> (56 - 8 * i));
        bytes[8 + i] = static_cast<uint8_t>(interface >> (56 - 8 * i));
    }
    char text[INET6_ADDRSTRLEN];
    inet_ntop(AF_INET6, bytes, text, sizeof text);
    return text;
}

// A MAC address at text[at]: six pairs of hex digits with one separator, ':' or '-'.
bool parseMac(const std::string& text, size_t at, uint64_t* value, char* separator) {
    if (at + 17 > text.size() || (text[at + 2] != ':' && text[at + 2] != '-')) {
        return false;
    }
    *separator = text[at + 2];
    *value = 0;
    for (size_t i = 0; i < 6; ++i) {
        size_t p = at + 3 * i;
        if (!isHex(text[p]) || !isHex(text[p + 1]) || (i < 5 && text[p + 2] != *separator)) {
            return false;
        }
        *value =
            *value << 8 | static_cast<uint64_t>(hexValue(text[p]) * 16 + hexValue(text[p + 1]));
    }
    size_t end = at + 17;
    return end == text.size() || !(isWordByte(text[end]) || text[end] == *separator);
}

std::string macText(uint64_t value, char separator, bool upper) {
    std::string out;
    for (int i = 5; i >= 0; --i) {
        char pair[3];
        snprintf(pair, sizeof pair, upper ? "%02X" : "%02x",
                 static_cast<unsigned>((value >> (8 * i)) & 0xff));
        out += pair;
        if (i) {
            out += separator;
        }
    }
    return out;
}

bool parseMacText(const std::string& text, uint64_t* value) {
    char separator = 0;
    return text.size() == 17 && parseMac(text, 0, value, &separator);
}

}  // namespace

void Pseudonymizer::record(const std::string& kind, const std::string& real,
                           const std::string& pseudonym) {
    if (_recorded.insert(kind + '\t' + real).second) {
        _pairs.push_back({kind, real, pseudonym});
    }
}

void Pseudonymizer::addLiteral(const std::string& kind, const std::string& real,
                               const std::string& pseudonym) {
    record(kind, real, pseudonym);
    std::string key = lowerCase(real);
    for (const Literal& literal : _literals) {
        if (literal._lower == key) {
            return;
        }
    }
    _literals.push_back({key, pseudonym});
    std::stable_sort(_literals.begin(), _literals.end(), [](const Literal& a, const Literal& b) {
        return a._lower.size() > b._lower.size();
    });
    for (auto& list : _byFirst) {
        list.clear();
    }
    for (size_t i = 0; i < _literals.size(); ++i) {
        unsigned char first = static_cast<unsigned char>(_literals[i]._lower[0]);
        _byFirst[first].push_back(i);
        _startByte[first] = true;
        _startByte[static_cast<unsigned char>(toupper(first))] = true;
    }
}

std::string Pseudonymizer::nextName(const char* prefix, const std::set<std::string>& taken) const {
    for (int i = 0;; ++i) {
        std::string name = prefix + std::to_string(i);
        if (!taken.count(name)) {
            return name;
        }
    }
}

void Pseudonymizer::addHostName(const std::string& name) {
    // The whole name first, then its first label and its domain: "box.corp.example.net" is
    // host0, "box" host1, "corp.example.net" host2.
    const std::string key = lowerCase(name);
    addHost(key);
    const size_t dot = key.find('.');
    if (dot != std::string::npos && dot > 0) {
        addHost(key.substr(0, dot));
        if (key.find('.', dot + 1) != std::string::npos) {
            addHost(key.substr(dot + 1));
        }
    }
}

void Pseudonymizer::addHost(const std::string& key) {
    if (key.size() < 2 || key == "localhost" ||
        key.find_first_not_of("0123456789.") == std::string::npos ||
        key.find_first_of(" \t\r\n") != std::string::npos) {
        return;
    }
    auto known = _hostByName.find(key);
    std::string pseudonym = known != _hostByName.end() ? known->second : std::string();
    if (pseudonym.empty()) {
        pseudonym = nextName("host", _hostPseudonyms);
        _hostPseudonyms.insert(pseudonym);
        _hostByName[key] = pseudonym;
    }
    addLiteral("host", key, pseudonym);
}

void Pseudonymizer::setUser(const std::string& loginName, const std::string& fullName,
                            const std::string& homeFolder) {
    std::vector<std::string> names;
    for (const std::string& name : {loginName, fullName}) {
        if (name.size() >= 2 && lowerCase(name) != "root" &&
            name.find_first_of("\t\r\n") == std::string::npos) {
            names.push_back(name);
        }
    }
    std::string home = homeFolder;
    while (home.size() > 1 && home.back() == '/') {
        home.pop_back();
    }
    if (home.size() < 2 || home == "/root" || home.find_first_of("\t\r\n") != std::string::npos) {
        home.clear();
    }
    if (names.empty() && home.empty()) {
        return;
    }
    std::string pseudonym;
    for (const std::string& name : names) {
        auto known = _userByName.find(lowerCase(name));
        if (known != _userByName.end()) {
            pseudonym = known->second;
        }
    }
    if (pseudonym.empty()) {
        pseudonym = nextName("user", _userPseudonyms);
        _userPseudonyms.insert(pseudonym);
    }
    for (const std::string& name : names) {
        _userByName[lowerCase(name)] = pseudonym;
        addLiteral("user", name, pseudonym);
    }
    if (!home.empty()) {
        addLiteral("home", home, "/home/" + pseudonym);
    }
}

bool Pseudonymizer::matchLiteral(const std::string& text, size_t at, std::string* out,
                                 size_t* length) const {
    if (at > 0 && text[at - 1] == '-') {
        return false;
    }
    for (size_t index : _byFirst[static_cast<unsigned char>(lower(text[at]))]) {
        const Literal& literal = _literals[index];
        const size_t n = literal._lower.size();
        if (at + n > text.size()) {
            continue;
        }
        size_t i = 1;
        while (i < n && lower(text[at + i]) == literal._lower[i]) {
            ++i;
        }
        if (i < n) {
            continue;
        }
        // "vm" is not hidden in "vm.swappiness": a name ends where no other dotted label follows.
        size_t end = at + n;
        if (end < text.size() &&
            (isWordByte(text[end]) || text[end] == '-' ||
             (text[end] == '.' && end + 1 < text.size() && isAlnum(text[end + 1])))) {
            continue;
        }
        *out = literal._pseudonym;
        *length = n;
        return true;
    }
    return false;
}

uint64_t Pseudonymizer::Numbering::standIn(uint64_t real, uint64_t (*candidate)(uint64_t),
                                           uint64_t limit) {
    auto known = _byReal.find(real);
    if (known != _byReal.end()) {
        return known->second;
    }
    uint64_t n = 0;
    while (n + 1 < limit && _taken.count(candidate(n))) {
        ++n;
    }
    assign(real, candidate(n));
    return candidate(n);
}

std::string Pseudonymizer::ipv4(const uint8_t real[4]) {
    const uint64_t standIn = _ipv4Networks.standIn(
        static_cast<uint64_t>(real[0] << 16 | real[1] << 8 | real[2]),
        [](uint64_t n) -> uint64_t { return networkAt(static_cast<uint32_t>(n)); }, kNetworkCount);
    char realText[20], text[20];
    snprintf(realText, sizeof realText, "%u.%u.%u.%u", real[0], real[1], real[2], real[3]);
    snprintf(text, sizeof text, "%u.%u.%u.%u", static_cast<unsigned>(standIn >> 16) & 0xff,
             static_cast<unsigned>(standIn >> 8) & 0xff, static_cast<unsigned>(standIn) & 0xff,
             real[3]);
    record("ipv4", realText, text);
    return text;
}

std::string Pseudonymizer::ipv6(const Ipv6& real) {
    const uint64_t prefix = half(real.data()), interface = half(real.data() + 8);
    const uint64_t standInPrefix = _ipv6Prefixes.standIn(
        prefix, [](uint64_t n) -> uint64_t { return 0x20010db800000000ull | n << 16; }, 0x10000);
    uint64_t standInInterface = interface;
    if (interface >= 0x10000) {
        standInInterface = _ipv6Interfaces.standIn(
            interface, [](uint64_t n) -> uint64_t { return 0x10000 + n; }, ~0ull);
    }
    std::string text = ipv6Text(standInPrefix, standInInterface);
    record("ipv6", ipv6Text(prefix, interface), text);
    return text;
}

std::string Pseudonymizer::mac(const std::string& text) {
    uint64_t real = 0;
    char separator = ':';
    parseMac(text, 0, &real, &separator);
    const uint64_t standIn = _macs.standIn(
        real, [](uint64_t n) -> uint64_t { return 0x020000000001ull + n; }, 0xffffff);
    record("mac", macText(real, ':', false), macText(standIn, ':', false));
    bool upper = std::any_of(text.begin(), text.end(),
                             [](char c) { return isupper(static_cast<unsigned char>(c)); });
    return macText(standIn, separator, upper);
}

bool Pseudonymizer::matchAddress(const std::string& text, size_t at, std::string* out,
                                 size_t* length) {
    const size_t n = text.size();
    const char before = at > 0 ? text[at - 1] : ' ';
    if (before == '.') {
        return false;
    }
    uint64_t macValue = 0;
    char separator = 0;
    if (before != ':' && parseMac(text, at, &macValue, &separator)) {
        if (macValue == 0 || macValue == 0xffffffffffffull) {
            return false;
        }
        *out = mac(text.substr(at, 17));
        *length = 17;
        return true;
    }
    // IPv6: a run of hex digits and at least two colons, ending where no word or dotted part
    // follows ("::ffff:10.0.0.1" is left to its IPv4 part).
    size_t end = at, colons = 0;
    while (end < n && end - at <= 39 && (isHex(text[end]) || text[end] == ':')) {
        colons += text[end++] == ':';
    }
    // inet_pton takes only eight groups or a "::": a time of day ("04:00:16") is neither.
    const bool groups =
        colons == 7 || std::string_view(text).substr(at, end - at).find("::") != std::string::npos;
    if (before != ':' && colons >= 2 && groups && end - at <= 39 &&
        (end == n || !(isWordByte(text[end]) || text[end] == '.'))) {
        Ipv6 address;
        const std::string candidate = text.substr(at, end - at);
        if (inet_pton(AF_INET6, candidate.c_str(), address.data()) == 1) {
            const uint64_t prefix = half(address.data()), interface = half(address.data() + 8);
            const bool keep = (prefix == 0 && interface <= 1) || address[0] == 0xff;
            if (keep) {
                return false;
            }
            *out = ipv6(address);
            *length = end - at;
            return true;
        }
    }
    // IPv4: four decimal numbers up to 255, not part of a longer dotted run.
    uint8_t bytes[4];
    size_t p = at;
    for (int part = 0; part < 4; ++part) {
        size_t digits = 0;
        unsigned value = 0;
        while (p < n && digits < 4 && isdigit(static_cast<unsigned char>(text[p]))) {
            value = value * 10 + static_cast<unsigned>(text[p++] - '0');
            ++digits;
        }
        if (digits == 0 || digits > 3 || value > 255) {
            return false;
        }
        bytes[part] = static_cast<uint8_t>(value);
        if (part < 3) {
            if (p >= n || text[p] != '.') {
                return false;
            }
            ++p;
        }
    }
    if (p < n && (isWordByte(text[p]) || (text[p] == '.' && p + 1 < n && isAlnum(text[p + 1])))) {
        return false;
    }
    // A real address in a documentation network is hidden like any other: left as it is, it
    // could not be told from a stand-in.
    if (bytes[0] == 0 || bytes[0] == 127 || bytes[0] >= 224) {
        return false;
    }
    *out = ipv4(bytes);
    *length = p - at;
    return true;
}

std::string Pseudonymizer::apply(const std::string& text) {
    // Digits and hex letters may begin an address; the literals' first bytes, a name.
    for (const char* c = "0123456789abcdefABCDEF:"; *c; ++c) {
        _startByte[static_cast<unsigned char>(*c)] = true;
    }
    std::string out;
    size_t copied = 0;
    const size_t n = text.size();
    std::string standIn;
    for (size_t i = 0; i < n;) {
        // Matches start only where no word byte comes before: a word is tried at its first byte
        // and then passed over whole.
        const char c = text[i];
        const bool word = isWordByte(c);
        size_t length = 0;
        const bool tried = _startByte[static_cast<unsigned char>(c)] &&
                           (word || i == 0 || !isWordByte(text[i - 1]));
        if (!tried || !(matchLiteral(text, i, &standIn, &length) ||
                        matchAddress(text, i, &standIn, &length))) {
            ++i;
            while (word && i < n && isWordByte(text[i])) {
                ++i;
            }
            continue;
        }
        if (copied == 0 && out.empty()) {
            out.reserve(n);
        }
        out.append(text, copied, i - copied);
        out += standIn;
        i += length;
        copied = i;
    }
    if (copied == 0) {
        return text;
    }
    out.append(text, copied, std::string::npos);
    return out;
}

std::string Pseudonymizer::mapText() const {
    std::string text =
        "# corvix-support pseudonym map: kind, real value, stand-in. Keep it private; "
        "give it back with --redact-map for the same stand-ins.\n";
    for (const Pair& pair : _pairs) {
        text += pair._kind + '\t' + pair._real + '\t' + pair._pseudonym + '\n';
    }
    return text;
}

bool Pseudonymizer::loadMap(const std::string& text, std::string* why) {
    Pseudonymizer loaded = *this;
    std::istringstream lines(text);
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::vector<std::string> fields;
        size_t start = 0;
        for (size_t tab; (tab = line.find('\t', start)) != std::string::npos; start = tab + 1) {
            fields.push_back(line.substr(start, tab - start));
        }
        fields.push_back(line.substr(start));
        auto fail = [&](const std::string& what) {
            *why = "line " + std::to_string(number) + ": " + what;
            return false;
        };
        if (fields.size() != 3 || fields[1].empty() || fields[2].empty()) {
            return fail("not three fields (kind, real value, stand-in) separated by tabs");
        }
        const std::string &kind = fields[0], &real = fields[1], &standIn = fields[2];
        if (kind == "host" || kind == "user") {
            auto& byName = kind == "host" ? loaded._hostByName : loaded._userByName;
            auto& taken = kind == "host" ? loaded._hostPseudonyms : loaded._userPseudonyms;
            byName[lowerCase(real)] = standIn;
            taken.insert(standIn);
            loaded.addLiteral(kind, real, standIn);
        } else if (kind == "home") {
            loaded.addLiteral(kind, real, standIn);
        } else if (kind == "ipv4") {
            in_addr a, b;
            if (inet_pton(AF_INET, real.c_str(), &a) != 1 ||
                inet_pton(AF_INET, standIn.c_str(), &b) != 1) {
                return fail("not two IPv4 addresses");
            }
            loaded._ipv4Networks.assign(ntohl(a.s_addr) >> 8, ntohl(b.s_addr) >> 8);
            loaded.record(kind, real, standIn);
        } else if (kind == "ipv6") {
            Ipv6 a, b;
            if (inet_pton(AF_INET6, real.c_str(), a.data()) != 1 ||
                inet_pton(AF_INET6, standIn.c_str(), b.data()) != 1) {
                return fail("not two IPv6 addresses");
            }
            loaded._ipv6Prefixes.assign(half(a.data()), half(b.data()));
            if (half(a.data() + 8) >= 0x10000) {
                loaded._ipv6Interfaces.assign(half(a.data() + 8), half(b.data() + 8));
            }
            loaded.record(kind, real, standIn);
        } else if (kind == "mac") {
            uint64_t a = 0, b = 0;
            if (!parseMacText(real, &a) || !parseMacText(standIn, &b)) {
                return fail("not two MAC addresses");
            }
            loaded._macs.assign(a, b);
            loaded.record(kind, real, standIn);
        } else {
            return fail("unknown kind \"" + kind + "\" (host, user, home, ipv4, ipv6 or mac)");
        }
    }
    *this = std::move(loaded);
    return true;
}
