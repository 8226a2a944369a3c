// Runs the suite named by the first argument with the remaining arguments, as QTEST_MAIN would.
#include <cstdio>

#include "GuiTest.h"

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    app.setAttribute(Qt::AA_Use96Dpi, true);
    const auto suite = GuiTest::suites().find(argc > 1 ? argv[1] : "");
    if (suite == GuiTest::suites().end()) {
        std::fprintf(stderr, "usage: %s SUITE [QTest arguments]; suites:\n", argv[0]);
        for (const auto& [name, make] : GuiTest::suites()) {
            std::fprintf(stderr, "  %s\n", qPrintable(name));
        }
        return 2;
    }
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeAt(1);
    const std::unique_ptr<QObject> test = suite->second();
    return QTest::qExec(test.get(), arguments);
}
