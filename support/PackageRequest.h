// PackageRequest: what the user asks a support package to hold, as the support form or the
// command line gathers it. Each text is optional: a missing one is written into the manifest as
// the null text, exactly as the form leaves a field it never had.
#ifndef CORVIX_SUPPORT_PACKAGEREQUEST_H
#define CORVIX_SUPPORT_PACKAGEREQUEST_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct PackageRequest {
    std::optional<std::string> _userName;
    std::optional<std::string> _company;
    std::optional<std::string> _comment;
    std::optional<std::string> _email;
    // Where the archive is saved. Missing or empty: the job reports "No Filename provided."
    std::optional<std::string> _fileName;
    // Files the user attached, in the order added; duplicates are kept.
    std::vector<std::string> _fileAttachments;
    // Longest run of one captured command, in seconds; 0 or less: no limit.
    int _commandTimeout = 120;
    // Under a machine root the system commands still describe the machine the tool runs on, not
    // the copied disk: their rows are skipped unless this is set. Without a root they always run.
    bool _liveCommands = false;
    // The staging folder is removed once the archive has been read back whole, unless this is set.
    bool _keepStaging = false;
    // Above 0: each product log and console log keeps only its last this many bytes, with a note
    // at the top of the cut file. Attachments and settings files are always whole.
    uint64_t _logSizeLimit = 0;
    // Not empty: the journal captures begin at this time (journalctl's --since syntax).
    std::string _since;
    // Rows left out, by name (packageRowName): not collected, not in the manifest. The system
    // report cannot be left out.
    std::vector<std::string> _excludedRows;
    // Hide host names, network addresses and user names in what the job takes from the system
    // (PackageRedaction), with the map beside the archive.
    bool _redact = false;
    // A map from an earlier package to start from (the same stand-ins); implies _redact.
    std::string _redactMap;

    bool redacts() const { return _redact || !_redactMap.empty(); }
    bool excludes(const std::string& rowName) const;

    // The longest e-mail address the support form's buffer holds.
    static const size_t kEmailMaxLength = 1024;

    // The support form's e-mail check: a POSIX extended regular expression over the whole
    // address. False for null, for an address longer than kEmailMaxLength bytes (never judged in
    // part), and for text it does not match.
    static bool isValidEmailAddress(const char* address);
};

#endif
