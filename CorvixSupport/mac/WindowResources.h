// The images compiled into the window (CorvixSupport/resources/CorvixSupport.qrc), looked up by
// name as the views and the toolbar name them: "Information", "3D Renderers", "valid.png", ...
#ifndef CORVIX_WINDOW_WINDOWRESOURCES_H
#define CORVIX_WINDOW_WINDOWRESOURCES_H

#include <QPixmap>
#include <QString>

namespace WindowResources {

// Registers the resources of the window's static library with Qt; safe to call again.
void init();

// The image of that name (".png" is assumed when the name has no extension); a null pixmap when
// there is none.
QPixmap imageNamed(const QString& name);

}  // namespace WindowResources

#endif
