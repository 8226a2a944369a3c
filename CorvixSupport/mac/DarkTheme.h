// The dark theme's palette (grey levels, 0 to 1) and the application-wide look that goes with
// it. Main-thread only, like every widget.
#ifndef CORVIX_WINDOW_DARKTHEME_H
#define CORVIX_WINDOW_DARKTHEME_H

class QApplication;

namespace DarkTheme {

constexpr double kBackground = 0.27;     // window, dark views, toolbar, package panel
constexpr double kHighlightFill = 0.35;  // behind the selected toolbar button
constexpr double kHighlightSide = 0.4;   // the highlight's left and right lines
constexpr double kLightLine = 0.35;      // lower separator line
constexpr double kDarkLine = 0.19;       // upper separator line, one point above the light one
constexpr double kLabel = 0.8;           // text fields in a dark view and on the package panel
constexpr double kTaggedTitle = 0.9;     // titles of buttons tagged kLightTitleTag in a dark view

// The tag (the widget property "tag") that asks a dark view for a light button title.
constexpr int kLightTitleTag = 101;

// Fusion with a dark palette, so that the standard controls inside the views (fields, tables,
// pop-ups, scroll bars) and the message boxes match the drawn ones. Also makes the window's
// resources (images) available.
void apply(QApplication& application);

}  // namespace DarkTheme

#endif
