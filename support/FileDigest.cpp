#include "FileDigest.h"

#include <openssl/evp.h>

#include <cstdio>
#include <memory>

#include "PackageCancelFlag.h"
#include "VeskFile.h"

bool FileDigest::sha256(const std::string& path, std::string* hex,
                        const PackageCancelFlag* cancel) {
    std::unique_ptr<FILE, int (*)(FILE*)> file(vesk_fopenRegular(path.c_str(), "rb"), fclose);
    if (!file) {
        return false;
    }
    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (!context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1) {
        return false;
    }
    unsigned char block[65536];
    size_t n;
    while ((n = fread(block, 1, sizeof block, file.get())) > 0) {
        if (PackageCancelFlag::isSet(cancel)) {
            return false;
        }
        EVP_DigestUpdate(context.get(), block, n);
    }
    if (ferror(file.get())) {
        return false;
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(context.get(), digest, &length);
    static const char kDigits[] = "0123456789abcdef";
    hex->clear();
    for (unsigned int i = 0; i < length; ++i) {
        *hex += kDigits[digest[i] >> 4];
        *hex += kDigits[digest[i] & 15];
    }
    return true;
}
