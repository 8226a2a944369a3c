// The package's rows on Linux: the system's logs and facts come from the journal and from the
// procps, util-linux and iproute2 tools. Programs are named by absolute path because captured
// commands run with an empty environment.
#include "PackageRows.h"

#include <cstring>

namespace {

using Op = PackageOperation;
using Base = PackageSourceBase;

const PackageRow kRows[] = {
    {Op::SystemReport, SP_INFO_SYSTEM, Base::None, nullptr, "system.xml", false, "system report"},
    {Op::Capture, SP_INFO_SYSTEM, Base::None, "/bin/journalctl --user -b --no-pager -n 5000",
     "console.log", false, "user console log"},
    {Op::Capture, SP_INFO_SYSTEM, Base::None, "/bin/journalctl -b --no-pager -n 5000",
     "systemConsole.log", false, "system console log"},
    {Op::Capture, SP_INFO_SYSTEM, Base::None, "/usr/bin/top -b -n1 -w 512", "processList.txt",
     false, "process list"},
    {Op::Capture, SP_INFO_SYSTEM, Base::None, "/usr/bin/lscpu; /bin/cat /proc/meminfo",
     "hardwareInfo.txt", false, "hardware settings"},
    {Op::Capture, SP_INFO_SYSTEM, Base::None, "/sbin/sysctl -a", "shm.txt", false,
     "kernel settings"},
    {Op::Capture, SP_INFO_SYSTEM, Base::None, "/sbin/sysctl kernel.hostname", "hostname.txt", false,
     "host name"},
    {Op::Capture, SP_INFO_SYSTEM, Base::None,
     "if [ -x /sbin/ifconfig ]; then /sbin/ifconfig -a; else /bin/ip addr show; fi", "ifconfig.txt",
     false, "network interfaces"},
    {Op::Capture, SP_INFO_SYSTEM, Base::None, "/usr/bin/id -u", "userInfo.txt", false, "user id"},
    {Op::Capture, SP_INFO_SYSTEM, Base::None, "/usr/bin/id", "userInfo.txt", true, "user groups"},
    // The backslashes quote the blanks for glob.
    {Op::CopyFiles, SP_INFO_APPLICATION, Base::Home,
     "~/Library/Preferences/Adobe/After\\ Effects\\ 6.5*", "AE_65", false,
     "After Effects 6.5 preferences"},
    {Op::CopyFiles, SP_INFO_APPLICATION, Base::Home,
     "~/Library/Preferences/Adobe/After\\ Effects/7.0/Adobe\\ After\\ Effects\\ 7.0*", "AE7", false,
     "After Effects 7.0 preferences"},
    {Op::CopyFiles, SP_INFO_APPLICATION, Base::Home,
     "~/Library/Preferences/Adobe/After\\ Effects/8.0/Adobe\\ After\\ Effects\\ 8.0*", "AE8", false,
     "After Effects 8.0 preferences"},
    {Op::CopyFile, SP_INFO_APPLICATION, Base::Machine,
     "/Library/Application Support/Orvanta Software/CorvixPro/FrameCache.cpr", "V1", false,
     "version 1 frame cache registry"},
    {Op::CopyFile, SP_INFO_APPLICATION, Base::Machine,
     "/Library/Application Support/Orvanta Software/CorvixPro/Config.txt", "V1", false,
     "version 1 settings"},
    // The version 1 queue has always been filed with version 2's: support staff expect both
    // generations' queue files side by side under V2.
    {Op::CopyFiles, SP_INFO_APPLICATION, Base::Machine,
     "/Library/Application Support/Orvanta Software/CorvixPro/RenderQueue/*", "V2", false,
     "version 1 render queue"},
    {Op::CopyFile, SP_INFO_APPLICATION, Base::Machine,
     "/Library/Application Support/Orvanta Software/CorvixPro2/FrameCache.cpr", "V2", false,
     "version 2 frame cache registry"},
    {Op::CopyFile, SP_INFO_APPLICATION, Base::Machine,
     "/Library/Application Support/Orvanta Software/CorvixPro2/Config.txt", "V2", false,
     "version 2 settings"},
    {Op::CopyFiles, SP_INFO_APPLICATION, Base::Machine,
     "/Library/Application Support/Orvanta Software/CorvixPro2/RenderQueue/*", "V2", false,
     "version 2 render queue"},
    {Op::LogFiles, SP_INFO_APPLICATION, Base::None, nullptr, nullptr, false, "product logs"},
    {Op::Attachments, SP_INFO_USER, Base::None, nullptr, nullptr, false, "attachments"},
};

}  // namespace

const PackageRow* packageRows(size_t* count) {
    *count = sizeof kRows / sizeof kRows[0];
    return kRows;
}

bool packageRowIsConsoleLog(const PackageRow& row) {
    static const char kJournal[] = "/bin/journalctl ";
    return row._operation == PackageOperation::Capture && row._source &&
           strncmp(row._source, kJournal, sizeof kJournal - 1) == 0;
}

std::string packageRowCommand(const PackageRow& row, const std::string& since) {
    std::string command = row._source ? row._source : "";
    if (since.empty() || !packageRowIsConsoleLog(row)) {
        return command;
    }
    command += " --since '";
    for (char c : since) {
        command += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return command + "'";
}
