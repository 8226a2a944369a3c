// The Support view, the package panel and the package job (the core's, run for real) in the
// window, from the buttons to the alerts.
#include <sys/stat.h>

#include <QCheckBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QRandomGenerator>
#include <QTableView>
#include <QTextEdit>
#include <QTimer>
#include <QTreeWidget>
#include <QUrl>

#include <cstdio>
#include <utility>

#include "GuiTest.h"
#include "PackageJob.h"
#include "PackageProgressPanel.h"

using GuiTest::Window;

class SupportViewTest : public QObject {
    Q_OBJECT

  private slots:
    void init() {
        _w = std::make_unique<Window>("Support");
        _archive = _w->file("out/case.zip", "old");
        Window::click("_createPackageButton");
    }
    void cleanup() {
        if (_mounted) {
            umount2(QFile::encodeName(_w->path("out")).constData(), MNT_DETACH);
            _mounted = false;
        }
        _w.reset();
    }

    void emailAddresses_data() {
        QTest::addColumn<QString>("address");
        QTest::addColumn<bool>("valid");
        QTest::newRow("dots and hyphens") << "ann.lee-2@studio-x.de" << true;
        QTest::newRow("empty") << "" << true;
        QTest::newRow("two at signs") << "ann@lee@studio.de" << false;
    }
    // A valid address goes on to the save panel (cancelled: nothing is made).
    void emailAddresses() {
        QFETCH(QString, address);
        QFETCH(bool, valid);
        field("_emailField")->setText(address);
        Window::click("_createButton");
        QCOMPARE(_w->dialogs.savePanels.size(), int(valid));
        QCOMPARE(_w->dialogs.titles(),
                 valid ? QStringList() : QStringList{"Invalid email address"});
        QCOMPARE(Window::find("_packageWindow")->isVisible(), !valid);
        QCOMPARE(_w->prefs->packageInfoIsValid(), valid);
    }

    void attachmentsKeepDuplicatesUntilEitherIsRemoved() {
        const QString log = _w->file("files/crash.log"), notes = _w->file("n.txt");
        _w->dialogs.openAnswers << QStringList{log} << QStringList{log} << QStringList{notes};
        for (int i = 0; i < 3; ++i) {
            Window::click("_addAttachmentButton");
        }
        const OpenPanelOptions panel = _w->dialogs.openPanels.value(0);
        QCOMPARE(panel.title + panel.prompt, QString("Select file(s) to attach:Select"));
        QVERIFY(panel.canChooseFiles && !panel.canChooseDirectories &&
                panel.allowsMultipleSelection);
        QCOMPARE(rows(), QStringList({"crash.log " + log, "crash.log " + log, "n.txt " + notes}));
        QAbstractItemModel* model = table()->model();
        QVERIFY(!model->data(model->index(0, 0), Qt::DecorationRole).value<QPixmap>().isNull());
        QVERIFY(model->data(model->index(0, 1), Qt::DecorationRole).isNull());
        table()->selectRow(1);
        Window::click("_removeAttachmentButton");
        QCOMPARE(rows(), QStringList({"n.txt " + notes}));

        // Dropped from a file manager: files are added, folders turned away.
        QMimeData dropped;
        dropped.setUrls({QUrl::fromLocalFile(log), QUrl::fromLocalFile(_w->home())});
        const QPoint at = table()->viewport()->rect().center();
        QDragEnterEvent enter(at, Qt::CopyAction, &dropped, Qt::LeftButton, Qt::NoModifier);
        QDropEvent drop(at, Qt::CopyAction, &dropped, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(table()->viewport(), &enter);
        QApplication::sendEvent(table()->viewport(), &drop);
        QCOMPARE(rows(), QStringList({"n.txt " + notes, "crash.log " + log}));

        // Opened again while on screen: nothing changes. Closed and opened: a fresh comment and
        // list, the same name, company and e-mail.
        field("_companyField")->setText("Studio X");
        comment()->setPlainText("it crashed");
        Window::click("_createPackageButton");
        QCOMPARE(rows().size(), 2);
        QCOMPARE(comment()->toPlainText(), QString("it crashed"));
        Window::click("_cancelButton");
        Window::click("_createPackageButton");
        QCOMPARE(rows(), QStringList());
        QCOMPARE(comment()->toPlainText(), QString());
        QCOMPARE(field("_companyField")->text(), QString("Studio X"));
        QCOMPARE(field("_nameField")->text(), _w->prefs->userName());

        Window::click("_privacyButton");
        QCOMPARE(_w->dialogs.alerts.value(0).all(),
                 QStringList({"Privacy information", CorvixSupportPrefsController::kPrivacyMessage,
                              "Ok", ""}));
    }

    void aPackageFromTheButtonToTheAlert() {
        // A cancelled save panel, opening on the Desktop with the proposed name, starts nothing.
        Window::click("_createButton");
        const SavePanelOptions save = _w->dialogs.savePanels.value(0);
        QCOMPARE(save.directory + "/" + save.fileName, _w->home() + "/Desktop/CorvixSupport.zip");
        QVERIFY(save.canCreateDirectories);
        QCOMPARE(stagingFolders(), 0);

        Window::click("_createPackageButton");
        field("_nameField")->setText("Ann Lee");
        field("_companyField")->setText("Studio X");
        field("_emailField")->setText("ann@studio-x.de");
        comment()->setPlainText("one\ntwo");
        _w->dialogs.openAnswers << QStringList{_w->file("files/crash.log", "crash")};
        Window::click("_addAttachmentButton");
        makePackage();

        QCOMPARE(
            _w->dialogs.alerts.value(0).all(),
            QStringList({AppController::kCreatedTitle,
                         QString::fromStdString(PackageJob::successMessage(_archive.toStdString())),
                         "Ok", ""}));
        const QByteArray manifest = unzip("package.xml");
        for (const char* expected :
             {"<user>Ann Lee</user>", "<company>Studio X</company>", "<email>ann@studio-x.de<",
              "<comment>one&lt;br &#47;&gt;two</comment>", "<path>user/crash.log</path>"}) {
            QVERIFY2(manifest.contains(expected), manifest.constData());
        }
        QCOMPARE(unzip("user/crash.log"), QByteArray("crash"));
        expectTheWindowFree();

        // Handed to the mail program: a stand-in that records its arguments.
        const QString mailer = _w->file("bin/xdg-email", "#!/bin/sh\necho \"$@\" >\"$0.a\"\n");
        QFile::setPermissions(mailer, QFile::ReadOwner | QFile::ExeOwner);
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(_w->path("bin")) + ":" + path);
        _w->app->sendPackage();
        qputenv("PATH", path);
        QTRY_COMPARE(GuiTest::readFile(mailer + ".a"),
                     "--attach " + _archive.toUtf8() + " " CORVIX_SUPPORT_EMAIL "\n");
    }

    // The review panel lists the job's plan with sizes; a row unticked there is left out of the
    // package, and hiding names leaves the map beside the archive.
    void reviewedRowsLeftOutAndNamesHidden() {
        _w->file(_w->product("CorvixPro2", "Config.txt"), "12345");
        _w->file(_w->product("CorvixPro2", "RenderQueue/RQ.txt"), "queue");
        Window::click("_reviewButton");
        auto* tree = Window::find<QTreeWidget>("_reviewTree");
        QTRY_VERIFY(tree->isVisible());
        const std::vector<PackagePlanRow> plan = PackageJob::plan(PackageRequest());
        QCOMPARE(tree->topLevelItemCount(), int(plan.size()));
        QTreeWidgetItem* settings = nullptr;
        for (int i = 0; i < tree->topLevelItemCount(); ++i) {
            QTreeWidgetItem* row = tree->topLevelItem(i);
            QCOMPARE(row->data(0, Qt::UserRole).toString().toStdString(), plan[i]._name);
            QCOMPARE(row->checkState(0), Qt::Checked);
            for (size_t k = 0; k < plan[i]._items.size(); ++k) {
                QCOMPARE(row->child(int(k))->data(1, Qt::UserRole).toLongLong(),
                         plan[i]._items[k]._size);
            }
            settings = plan[i]._name == "version-2-settings" ? row : settings;
        }
        QCOMPARE(settings->child(0)->text(1), QLocale().formattedDataSize(5));
        QVERIFY(!(tree->topLevelItem(0)->flags() & Qt::ItemIsUserCheckable));
        tree->setCurrentItem(settings);
        QTest::keyClick(tree, Qt::Key_Space);
        QCOMPARE(settings->checkState(0), Qt::Unchecked);
        Window::click("_reviewDoneButton");
        Window::click("_redactCheckBox");
        makePackage();

        QCOMPARE(_w->dialogs.titles(), QStringList{AppController::kCreatedTitle});
        const QString map = _archive + ".map";
        QVERIFY(_w->dialogs.alerts.value(0).message.endsWith(
            QString::fromStdString(PackageJob::redactionMessage(map.toStdString()))));
        struct stat st = {};
        QCOMPARE(stat(QFile::encodeName(map).constData(), &st), 0);
        QCOMPARE(st.st_mode & 0777, 0600u);
        QVERIFY(GuiTest::readFile(map).contains("\nhome\t" + QFile::encodeName(_w->home())));
        QCOMPARE(unzip("application/V2/RQ.txt"), QByteArray("queue"));
        QCOMPARE(unzip("application/V2/Config.txt"), QByteArray());
        QVERIFY(!unzip("package.xml").contains("V2/Config.txt"));
    }

    // Refused before the job starts, failed in it, and a full disk: the error alert names the
    // cause, the old archive stays, the staging folder is gone (kept on a full disk).
    void failuresEndInTheErrorAlert_data() {
        QTest::addColumn<QString>("cause");
        QTest::addColumn<QString>("message");
        QTest::addColumn<int>("staging");
        QTest::newRow("attachment gone") << "gone"
                                         << "cannot be read: " << 0;
        QTest::newRow("no staging folder") << "staging"
                                           << "Could not create temporary path." << 0;
        QTest::newRow("full 1 MB disk") << "full"
                                        << "No space left on device" << 1;
    }
    void failuresEndInTheErrorAlert() {
        QFETCH(QString, cause);
        QFETCH(QString, message);
        QFETCH(int, staging);
        if (cause == "full") {
            _mounted =
                GuiTest::ownMountNamespace() &&
                mount("tmpfs", QFile::encodeName(_w->path("out")), "tmpfs", 0, "size=1m") == 0;
            if (!_mounted) {
                QSKIP("mounting a tmpfs needs root and a mount namespace of this thread's own");
            }
            _w->file("out/case.zip", "old");
        }
        QByteArray noise(2 << 20, '\0');
        QRandomGenerator::global()->fillRange(reinterpret_cast<quint32*>(noise.data()),
                                              noise.size() / 4);
        _w->dialogs.openAnswers << QStringList{_w->file("files/noise.bin", noise)};
        Window::click("_addAttachmentButton");
        if (cause == "gone") {
            QFile::remove(_w->path("files/noise.bin"));
        } else if (cause == "staging") {
            // The staging folder's name no longer fits a path buffer below this folder.
            QString deep = _w->path("tmp");
            while (deep.size() < 1100) {
                deep += "/" + QString(200, 'd');
            }
            QVERIFY(QDir().mkpath(deep));
            qputenv("TMPDIR", QFile::encodeName(deep));
        }
        makePackage();

        QCOMPARE(_w->dialogs.titles(), QStringList{PackageJob::kErrorTitle});
        QVERIFY2(_w->dialogs.alerts[0].message.contains(message),
                 qPrintable(_w->dialogs.alerts[0].message));
        QCOMPARE(GuiTest::readFile(_archive), QByteArray("old"));
        QCOMPARE(stagingFolders(), staging);
        expectTheWindowFree();
    }

    // A 1 GB sparse attachment: the steps show while a main-thread timer keeps firing (a gap
    // counts the time the event loop was busy or blocked, not the time a loaded machine kept it
    // waiting for a processor); Cancel stops the job within moments, with no alert, no file and
    // no staging folder left behind.
    void theWindowStaysResponsiveAndCancelStopsTheJob() {
        const QString large = _w->file("files/large.bin", "");
        QVERIFY(QFile::resize(large, qint64(1) << 30));
        _w->dialogs.openAnswers << QStringList{large};
        Window::click("_addAttachmentButton");

        QElapsedTimer clock, sinceTick;
        qint64 longestGap = 0, cancelledAt = -1, waited = waitedForAProcessor();
        QStringList shown;
        QTimer ticks;
        connect(&ticks, &QTimer::timeout, [&] {
            const qint64 waitedBefore = std::exchange(waited, waitedForAProcessor());
            longestGap = std::max(longestGap, sinceTick.restart() - (waited - waitedBefore));
            const QString text = Window::find<QLabel>("_infoLabel")->text();
            if (shown.value(shown.size() - 1) != text) {
                shown << text;
            }
            if (cancelledAt < 0 && clock.elapsed() > 2000 && text.startsWith("Saving")) {
                cancelledAt = clock.elapsed();
                Window::click("_stopButton", _w->app->progressPanel());
            }
        });
        clock.start();
        sinceTick.start();
        ticks.start(20);
        makePackage();
        ticks.stop();

        QVERIFY2(cancelledAt > 0, qPrintable(shown.join(" | ")));
        QVERIFY2(longestGap < 1000, qPrintable(QString::number(longestGap)));
        QVERIFY(shown.contains("Collecting attachments (21 of 21)…"));
        QVERIFY(shown.contains("Saving case.zip…"));
        QVERIFY(clock.elapsed() - cancelledAt < 5000);
        QCOMPARE(_w->dialogs.alerts.size(), 0);
        QCOMPARE(QDir(_w->path("out")).entryList(QDir::Files | QDir::Hidden),
                 QStringList{"case.zip"});
        QCOMPARE(GuiTest::readFile(_archive), QByteArray("old"));
        QCOMPARE(stagingFolders(), 0);
        expectTheWindowFree();
    }

  private:
    // Milliseconds this thread has spent runnable but waiting for a processor (0 where the
    // kernel does not keep scheduler statistics).
    static qint64 waitedForAProcessor() {
        QFile stats("/proc/thread-self/schedstat");
        return stats.open(QIODevice::ReadOnly)
                   ? stats.readAll().split(' ').value(1).toLongLong() / 1000000
                   : 0;
    }
    static QLineEdit* field(const char* name) { return Window::find<QLineEdit>(name); }
    static QTextEdit* comment() { return Window::find<QTextEdit>("_textView"); }
    static QTableView* table() { return Window::find<QTableView>("_attachments"); }
    static QStringList rows() {
        QStringList texts;
        for (int row = 0; row < table()->model()->rowCount(); ++row) {
            texts << table()->model()->index(row, 0).data().toString() + " " +
                         table()->model()->index(row, 1).data().toString();
        }
        return texts;
    }
    // Confirms the panel and answers the save panel with the archive; returns after the job.
    void makePackage() {
        _w->dialogs.alerts.clear();
        _w->dialogs.saveAnswers << _archive;
        Window::click("_createButton");
    }
    int stagingFolders() const {
        return QDir(_w->path("tmp")).entryList({"osp_*"}, QDir::Dirs).size();
    }
    // Through popen, not QProcess: Qt starts its child inside this process's memory (a vfork);
    // under ThreadSanitizer what that child does counts for the test process, which is then
    // refused its next thread ("starting new threads after multi-threaded fork").
    QByteArray unzip(const QString& member) const {
        const QByteArray command =
            "unzip -p '" + QFile::encodeName(_archive) + "' '" + member.toUtf8() + "'";
        QByteArray output;
        if (FILE* pipe = popen(command.constData(), "r")) {
            char buffer[4096];
            for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
                output.append(buffer, static_cast<qsizetype>(n));
            }
            pclose(pipe);
        }
        return output;
    }
    void expectTheWindowFree() const {
        QVERIFY(!_w->app->progressPanel()->isVisible());
        QVERIFY(!_w->app->progressPanel()->isAnimating());
        QCOMPARE(QApplication::activeModalWidget(), nullptr);
    }

    std::unique_ptr<Window> _w;
    QString _archive;
    bool _mounted = false;
};

QTEST_MAIN(SupportViewTest)

#include "SupportViewTest.moc"
