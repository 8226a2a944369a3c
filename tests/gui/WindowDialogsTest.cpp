// The Qt dialogs behind WindowDialogs, answered by a timer that acts on the modal dialog.
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>

#include "GuiTest.h"
#include "QtWindowDialogs.h"

namespace {

// Runs answer on the modal dialog of type T once it is up.
template <class T>
void whenShown(std::function<void(T*)> answer) {
    QTimer::singleShot(0, [answer]() {
        QTRY_VERIFY(qobject_cast<T*>(QApplication::activeModalWidget()) != nullptr);
        answer(qobject_cast<T*>(QApplication::activeModalWidget()));
    });
}

}  // namespace

class WindowDialogsTest : public QObject {
    Q_OBJECT

  private slots:
    void alertReturnsWhichButtonWasChosen_data() {
        QTest::addColumn<QString>("choice");
        QTest::addColumn<int>("result");
        QTest::newRow("default") << "No" << int(WindowDialogs::kAlertDefaultReturn);
        QTest::newRow("other") << "Yes" << int(WindowDialogs::kAlertOtherReturn);
    }
    void alertReturnsWhichButtonWasChosen() {
        QFETCH(QString, choice);
        QFETCH(int, result);
        QStringList shown;
        whenShown<QMessageBox>([&](QMessageBox* box) {
            shown << box->text() << box->informativeText() << box->defaultButton()->text();
            for (QAbstractButton* button : box->buttons()) {
                if (button->text() == choice) {
                    button->click();
                }
            }
        });
        QtWindowDialogs dialogs;
        QCOMPARE(dialogs.runAlertPanel("Are you sure", "Irreversible.", "No", "Yes"), result);
        QCOMPARE(shown, QStringList({"Are you sure", "Irreversible.", "No"}));
    }

    void openPanelReturnsTheChosenFiles() {
        QTemporaryDir folder;
        for (const char* name : {"a.log", "b.log"}) {
            QVERIFY(QFile(folder.filePath(name)).open(QIODevice::WriteOnly));
        }
        whenShown<QFileDialog>([&](QFileDialog* dialog) {
            QCOMPARE(dialog->windowTitle(), QString("Select file(s) to attach:"));
            QCOMPARE(dialog->labelText(QFileDialog::Accept), QString("Select"));
            QCOMPARE(dialog->fileMode(), QFileDialog::ExistingFiles);
            QCOMPARE(QDir(dialog->directory()).canonicalPath(),
                     QDir(folder.path()).canonicalPath());
            dialog->selectFile("\"a.log\" \"b.log\"");
            static_cast<QDialog*>(dialog)->accept();
        });
        OpenPanelOptions options;
        options.title = "Select file(s) to attach:";
        options.prompt = "Select";
        options.directory = folder.path();
        options.allowsMultipleSelection = true;
        QStringList chosen = QtWindowDialogs().runOpenPanel(options);
        for (QString& path : chosen) {
            path = QFileInfo(path).fileName();
        }
        chosen.sort();
        QCOMPARE(chosen, QStringList({"a.log", "b.log"}));
    }

    void savePanelProposesTheNameAndCancelGivesNothing() {
        QTemporaryDir folder;
        SavePanelOptions options;
        options.directory = folder.path();
        options.fileName = "CorvixSupport.zip";
        QtWindowDialogs dialogs;
        whenShown<QFileDialog>(
            [](QFileDialog* dialog) { static_cast<QDialog*>(dialog)->accept(); });
        QCOMPARE(QFileInfo(dialogs.runSavePanel(options)).fileName(), QString("CorvixSupport.zip"));
        whenShown<QFileDialog>([](QFileDialog* dialog) { dialog->reject(); });
        QVERIFY(dialogs.runSavePanel(options).isEmpty());
    }
};

QTEST_MAIN(WindowDialogsTest)

#include "WindowDialogsTest.moc"
