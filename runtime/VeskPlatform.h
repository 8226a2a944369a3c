// The platform seam: every operating-system call whose form differs between platforms goes
// through these functions, so that no other file needs a platform #ifdef. One implementation file
// exists per platform (VeskPlatform-linux.cpp today).
//
// Also the machine root: every fixed machine-wide path the tool reads or writes
// ("/Library/Application Support/...", "/Applications", "/etc/os-release", "/var/log/...") is
// passed through vesk_machinePath(), which puts it below an optional root folder. Unset, paths
// are exactly the designed ones; set, "/Library/X" becomes "<root>/Library/X". Tests use it to run
// the whole tool inside a temporary folder; support staff use it to inspect a copied disk.
//
// All functions may be called from any thread. None prints or throws; a system file that exists
// but cannot be read safely (a FIFO in place of os-release) is reported through the diagnostics
// sink. Functions returning bool report false when the platform had no answer; their output
// arguments are then left unchanged.
#ifndef CORVIX_RUNTIME_VESKPLATFORM_H
#define CORVIX_RUNTIME_VESKPLATFORM_H

#include <cstdint>
#include <string>

// ---- machine root ---------------------------------------------------------------------------

// Sets the machine root for this process; it takes precedence over the environment variable
// CORVIX_ROOT. An empty text or "/" clears it (and CORVIX_ROOT is then consulted again). Meant for
// start-up (the command line's --root) and tests, before worker threads run.
void vesk_setMachineRoot(const std::string& root);

// The machine root in force: the one set above, else $CORVIX_ROOT, else "" (no root). Any
// trailing '/' is removed.
std::string vesk_machineRoot();

// Maps a fixed machine-wide absolute path below the machine root. With no root the text is
// returned byte for byte as given; a relative path is returned unchanged in every case.
std::string vesk_machinePath(const std::string& designedPath);

// ---- per-user folders -----------------------------------------------------------------------

// The user's home folder: $HOME when set and not empty, else the password database's entry for
// the real user id.
bool vesk_homeFolder(std::string* out);

// The user's full name: the password database's comment field up to its first comma, else the
// login name.
bool vesk_userFullName(std::string* out);

// The user's login name: $LOGNAME, else $USER, else the password database's entry for the real
// user id.
bool vesk_loginName(std::string* out);

// This machine's host name as the kernel knows it.
bool vesk_hostName(std::string* out);

// The user's Preferences folder: $XDG_CONFIG_HOME when set and absolute (a relative one is
// ignored), else $HOME/.config. With create, the folder is made when missing (mode 0777 less the
// umask); false when neither variable gives a path or the folder cannot be made. Callers apply
// their own fallbacks. Without create the path is only computed.
bool vesk_preferencesFolder(std::string* out, bool create = true);

// The user's Preferences folder with the product's fallbacks, the chain every per-user product
// file is found by: vesk_preferencesFolder(create), else "$HOME/Library/Preferences", else the
// temporary folder. Returns true when the first gave the folder and false when a fallback did, so
// that each caller can report the fallback in its own words; out is always set.
bool vesk_preferencesFolderOrFallback(std::string* out, bool create = true);

// The user's Desktop folder: XDG_DESKTOP_DIR from "user-dirs.dirs" in the configuration folder
// (a "$HOME/..." or absolute value), else $HOME/Desktop. The folder is not created here.
bool vesk_desktopFolder(std::string* out);

// The temporary folder: $TMPDIR when it is set, absolute, and a folder this user can write to
// (without trailing slashes), else "/tmp". Never below the machine root: it is this machine's own.
std::string vesk_temporaryFolder();

// ---- product folders ------------------------------------------------------------------------

// The machine-wide folder of a product generation, below the machine root and ending in "/":
// generation 1 is ".../Orvanta Software/CorvixPro/", any other ".../Orvanta Software/CorvixPro2/".
std::string vesk_productFolder(int generation);

// ---- system facts ---------------------------------------------------------------------------

// The operating system's name for reports: "Linux".
const char* vesk_platformName();

// Version and build of the operating system, from os-release (/etc/os-release, else
// /usr/lib/os-release, both below the machine root): version is VERSION_ID; build is BUILD_ID,
// else the first line of /etc/debian_version, else the kernel release. Each output is written
// only when a value was found; false when no os-release file could be read.
bool vesk_osVersionInfo(std::string* version, std::string* build);

// The user's locale identifier ("de_DE"): the first non-empty of LC_ALL, LC_MESSAGES and LANG,
// without ".codeset" and "@modifier". "C", "POSIX" or nothing: false.
bool vesk_localeIdentifier(std::string* out);

// Processors online; false when the system does not say.
bool vesk_processorCount(int* out);

// Physical memory in bytes; false when the system does not say.
bool vesk_memorySize(uint64_t* out);

// The calling thread's kernel thread id, a stable per-thread integer.
int vesk_currentThreadNumber();

// ---- terminals ------------------------------------------------------------------------------

// Whether the open descriptor fd is a terminal (a person may be reading or typing there).
bool vesk_isTerminal(int fd);

// The width in columns of the terminal at fd; 0 when fd is no terminal or it does not say.
int vesk_terminalColumns(int fd);

// ---- kernel copies ------------------------------------------------------------------------

// Copies up to length bytes from in at inOffset to out at outOffset inside the kernel, without
// moving either descriptor's file position. The file system may share the blocks instead of
// copying them (a reflink). Returns the bytes copied (fewer than asked is normal: call again),
// 0 at the end of in, or -1 with errno set. ENOSYS, EXDEV, EINVAL, EOPNOTSUPP and the like mean
// that this pair of files cannot be copied so (another file system, a platform without kernel
// copies): the caller then copies by reading and writing. Both must be regular files.
int64_t vesk_copyFileRange(int in, int64_t inOffset, int out, int64_t outOffset, size_t length);

// The next run of data in the regular file fd at or after from: [*start, *end). False when only a
// hole or nothing follows from. Where the platform cannot tell holes from data, everything from
// from to the end of the file counts as data. May move fd's file position.
bool vesk_nextDataRange(int fd, int64_t from, int64_t* start, int64_t* end);

#endif
