// The package panels on screen with a filled form, for screenshots (the hidden options
// --package-form FILE and --package-to PATH of the window).
//
// The form file holds lines "name: TEXT", "company: TEXT", "email: TEXT", "comment: TEXT" (one
// line of the comment each), "attach: PATH" (one attachment each), "hide: yes" (the box that
// hides names) and "review: yes" (the review panel is opened and its frame printed instead of
// the package panel's). The package panel is
// opened and filled as a user would; without an archive path, "shown X Y WIDTH HEIGHT" (the
// panel's frame) is printed on standard output once it has been painted. With one, the panel is
// then confirmed, the save panel answered with the path, and the progress panel's frame is
// printed once the job's panel has been painted (attach a large file to keep it up).
//
// Main-thread only, after the window has been shown.
#ifndef CORVIX_WINDOW_PACKAGESHOWCASE_H
#define CORVIX_WINDOW_PACKAGESHOWCASE_H

#include <QString>

class AppController;

namespace PackageShowcase {

// False, with a message on standard error, when the form file cannot be read.
bool show(AppController& controller, const QString& formFile, const QString& archivePath);

}  // namespace PackageShowcase

#endif
