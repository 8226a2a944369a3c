// The Qt dialogs behind WindowDialogs, answered by a timer that acts on the modal dialog.
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <functional>

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

void clickButton(QMessageBox* box, const QString& text) {
    for (QAbstractButton* button : box->buttons()) {
        if (button->text() == text) {
            button->click();
        }
    }
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
        QString shownText;
        QString shownMessage;
        whenShown<QMessageBox>([&](QMessageBox* box) {
            shownText = box->text();
            shownMessage = box->informativeText();
            QCOMPARE(box->defaultButton()->text(), QString("No"));
            clickButton(box, choice);
        });
        QtWindowDialogs dialogs;
        QCOMPARE(dialogs.runAlertPanel("Are you sure", "Irreversible.", "No", "Yes"), result);
        QCOMPARE(shownText, QString("Are you sure"));
        QCOMPARE(shownMessage, QString("Irreversible."));
    }

    void openPanelReturnsTheChosenFiles() {
        QTemporaryDir folder;
        for (const char* name : {"a.log", "b.log"}) {
            QFile file(folder.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
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
        QtWindowDialogs dialogs;
        QStringList chosen = dialogs.runOpenPanel(options);
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
