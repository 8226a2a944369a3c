// Recursive deletion of SupportPackage: killDirectory, which the maintenance cleaner uses on the
// product's folders as well as on staging folders.
#include "SupportPackage.h"
#include "VeskFolderWalk.h"

int SupportPackage::killDirectory(const char* path) {
    return vesk_removeTree(path).attempted;
}
