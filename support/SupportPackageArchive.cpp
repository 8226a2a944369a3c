// Saving a SupportPackage: the manifest, then the archive, written so that it is either whole or
// not there at all (savePackage, writeArchive).
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <thread>

#include "DeflateCache.h"
#include "FileDigest.h"
#include "PackageCancelFlag.h"
#include "SupportPackage.h"
#include "VeskDiagnostics.h"
#include "VeskFile.h"
#include "VeskPath.h"
#include "ZipBuilder.h"
#include "ZipVerifier.h"

namespace {

// What the platform's formatted output writes for a null text argument.
const char kNullText[] = "(null)";

// The bytes of every regular file below folder, links not followed and hidden folders left out
// as ZipBuilder leaves them: what the archive will take.
uint64_t stagedBytes(const char* folder) {
    namespace fs = std::filesystem;
    uint64_t total = 0;
    std::error_code error;
    for (fs::recursive_directory_iterator it(folder, error), end; !error && it != end;
         it.increment(error)) {
        std::error_code sizeError;
        if (it->is_symlink(sizeError)) {
            continue;
        }
        if (it->is_directory(sizeError) && it->path().filename().native()[0] == '.') {
            it.disable_recursion_pending();
        } else if (it->is_regular_file(sizeError)) {
            uintmax_t size = it->file_size(sizeError);
            total += sizeError ? 0 : size;
        }
    }
    return total;
}

}  // namespace

int SupportPackage::savePackage(const char* archivePath, PackageArchive* archive) {
    // Whatever happens, the files compressed ahead are given up (and its threads joined) on the
    // way out.
    std::unique_ptr<DeflateCache> warm(std::move(_warmCache));
    PackageArchive scratch;
    PackageArchive& result = archive ? *archive : scratch;
    result = PackageArchive();
    if (!_packageInfo) {
        vesk_diagnostic("\nPackage info is null.");
        result._error = "Package info is null.";
        return 0;
    }
    if (!archivePath) {
        vesk_diagnostic("SupportPackage::savePackage - not path given.");
        result._error = "No Filename provided.";
        return 0;
    }
    std::string manifest = std::string(_contentsPath ? _contentsPath : kNullText) + "/package.xml";
    if (!writePackageInfo(_packageInfo, manifest.c_str())) {
        result._error = "the manifest " + manifest + " could not be written";
        return 0;
    }
    if (!writeArchive(archivePath, &result, warm.get())) {
        result._interrupted = PackageCancelFlag::isSet(_cancel);
        return 0;
    }
    return 1;
}

void SupportPackage::warmArchive() {
    if (_warmCache || !_applicationPath || !_userPath) {
        return;
    }
    _warmCache.reset(new DeflateCache(ZipBuilder::defaultThreadCount(), _cancel));
    _warmCache->warm({_applicationPath, _userPath});
}

bool SupportPackage::writeArchive(const char* archivePath, PackageArchive* archive,
                                  DeflateCache* warm) {
    if (!archivePath[0]) {
        archive->_error = "No Filename provided.";
        return false;
    }
    if (!vesk_pathFits(archivePath)) {
        vesk_reportPathTooLong(archivePath);
        archive->_error = "the archive path is too long: " + vesk_printablePath(archivePath);
        return false;
    }
    // Beside the destination, so that the rename cannot cross file systems; the old archive
    // stays as it is until the new one has been read back whole.
    VeskAtomicFile file(archivePath);
    if (!file.open()) {
        archive->_error = file.error();
        return false;
    }
    long entries = 0;
    int threads = 1;
    {
        ZipBuilder zip(file.stream());
        zip.setCancelFlag(_cancel);
        if (warm) {
            // The files it is compressing now it finishes; the archive compresses the rest.
            warm->stop();
            zip.setDeflateCache(warm);
        }
        if (_byteProgress) {
            const uint64_t total = stagedBytes(_contentsPath);
            // The count lives in the callback: the builder calls it after this block has ended.
            zip.setProgress([this, total, done = uint64_t(0)](uint64_t bytes) mutable {
                done += bytes;
                _byteProgress("archive", done, std::max(done, total));
            });
        }
        zip.addFolderToZip(_contentsPath, true, _contentsPath);
        zip.closeFile();
        if (!zip.ok()) {
            archive->_error = std::string(archivePath) + ": " + zip.error();
            return false;
        }
        entries = zip.entryCount();
        threads = zip.threadCount();
    }
    if (!file.releaseStream()) {
        archive->_error = file.error();
        return false;
    }
    // The digest is taken on a second thread while the archive is read back: both only read the
    // finished file, and the user waits for both.
    bool digested = false;
    int digestError = 0;
    auto digest = [&] {
        digested = FileDigest::sha256(file.temporaryPath(), &archive->_sha256, _cancel);
        digestError = errno ? errno : EIO;
    };
    std::thread digester;
    try {
        digester = std::thread(digest);
    } catch (const std::system_error&) {
        digest();
    }
    std::string why;
    bool whole = ZipVerifier::verify(file.temporaryPath(), entries, _cancel, &why, threads);
    if (digester.joinable()) {
        digester.join();
    }
    if (!whole) {
        archive->_error = "the archive written for " + std::string(archivePath) +
                          " did not read back whole: " + why;
        return false;
    }
    struct stat st;
    if (!digested || stat(file.temporaryPath().c_str(), &st) != 0) {
        archive->_error =
            std::string(archivePath) + ": " + strerror(digested ? errno : digestError);
        return false;
    }
    archive->_size = st.st_size;
    if (PackageCancelFlag::isSet(_cancel)) {
        archive->_error = "interrupted";
        return false;
    }
    if (!file.commit()) {
        archive->_error = file.error();
        return false;
    }
    return true;
}
