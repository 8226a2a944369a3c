#include "DarkTheme.h"

#include <QApplication>
#include <QIcon>
#include <QPalette>

#include "QuartzUtils.h"
#include "WindowResources.h"

void DarkTheme::apply(QApplication& application) {
    WindowResources::init();
    QApplication::setStyle("Fusion");

    const auto grey = QuartzUtils::deviceWhite;
    QPalette palette;
    palette.setColor(QPalette::Window, grey(kBackground));
    palette.setColor(QPalette::WindowText, grey(kLabel));
    palette.setColor(QPalette::Base, grey(0.19));
    palette.setColor(QPalette::AlternateBase, grey(0.23));
    palette.setColor(QPalette::Text, grey(0.9));
    palette.setColor(QPalette::PlaceholderText, grey(0.5));
    palette.setColor(QPalette::Button, grey(0.33));
    palette.setColor(QPalette::ButtonText, Qt::white);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::Light, grey(0.45));
    palette.setColor(QPalette::Midlight, grey(0.38));
    palette.setColor(QPalette::Mid, grey(0.23));
    palette.setColor(QPalette::Dark, grey(0.15));
    palette.setColor(QPalette::Shadow, grey(0.05));
    palette.setColor(QPalette::Highlight, QColor(0x3d, 0x7c, 0xd9));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x8a, 0xb4, 0xf8));
    palette.setColor(QPalette::LinkVisited, QColor(0xb4, 0x9a, 0xf0));
    palette.setColor(QPalette::ToolTipBase, grey(0.19));
    palette.setColor(QPalette::ToolTipText, grey(0.9));
    for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(QPalette::Disabled, role, grey(0.5));
    }
    application.setPalette(palette);
    QApplication::setWindowIcon(QIcon(WindowResources::imageNamed("CorvixSupport")));
}
