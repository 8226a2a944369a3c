#include "WindowResources.h"

#include <QFileInfo>

// Q_INIT_RESOURCE must be used outside any namespace.
static void initWindowResources() {
    Q_INIT_RESOURCE(CorvixSupport);
}

void WindowResources::init() {
    static const bool done = (initWindowResources(), true);
    (void)done;
}

QPixmap WindowResources::imageNamed(const QString& name) {
    init();
    const QString file = QFileInfo(name).suffix().isEmpty() ? name + ".png" : name;
    return QPixmap(":/images/" + file);
}
