// The Support view, the package panel and the package job in the real window (AppController),
// inside a sandboxed machine root and HOME, driven by object name; dialogs answered by a
// recording. The job is the core's, run for real.
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QRandomGenerator>
#include <QTableView>
#include <QTest>
#include <QTextEdit>
#include <QTimer>
#include <QUrl>

#include <cstdio>
#include <memory>

#include "AppController.h"
#include "CorvixSupportPrefsController.h"
#include "GuiSandbox.h"
#include "PackageJob.h"
#include "PackageProgressPanel.h"
#include "RecordingWindowDialogs.h"

class SupportViewTest : public QObject {
    Q_OBJECT

  private slots:
    void init() {
        _sandbox = std::make_unique<GuiSandbox>();
        _app = std::make_unique<AppController>();
        _app->awakeFromNib();
        _dialogs = std::make_unique<RecordingWindowDialogs>();
        _app->prefs()->setDialogs(_dialogs.get());
        QVERIFY(QDir().mkpath(_sandbox->path("out")));
        _archive = _sandbox->path("out/case.zip");
        click("_createPackageButton");
    }
    void cleanup() {
        if (_mounted) {
            umount2(QFile::encodeName(_sandbox->path("out")).constData(), MNT_DETACH);
            _mounted = false;
        }
        _app.reset();
        TabbedPrefsWindowController::releaseSharedPrefsWindowController();
        _sandbox.reset();
    }

    void emailAddresses_data() {
        QTest::addColumn<QString>("address");
        QTest::addColumn<bool>("valid");
        QTest::newRow("dots and hyphens") << "ann.lee-2@studio-x.de" << true;
        QTest::newRow("empty") << "" << true;
        QTest::newRow("one-letter label") << "ann@studio.x" << false;
        QTest::newRow("seven-letter label") << "ann@studio.abcdefg" << false;
        QTest::newRow("leading dot") << ".ann@studio.de" << false;
        QTest::newRow("leading underscore") << "_ann@studio.de" << false;
        QTest::newRow("two at signs") << "ann@lee@studio.de" << false;
    }
    void emailAddresses() {
        QFETCH(QString, address);
        QFETCH(bool, valid);
        find<QLineEdit>("_emailField")->setText(address);
        click("_createButton");
        // A valid address goes on to the save panel (cancelled: nothing is made).
        QCOMPARE(_dialogs->calls.size(), 1);
        QCOMPARE(std::holds_alternative<SavePanelOptions>(_dialogs->calls[0]), valid);
        QCOMPARE(find<QWidget>("_packageWindow")->isVisible(), !valid);
        QCOMPARE(_app->prefs()->packageInfoIsValid(), valid);
        if (!valid) {
            QCOMPARE(alerts().value(0).title, QString("Invalid email address"));
        }
    }

    void attachmentsKeepDuplicatesUntilEitherIsRemoved() {
        const QString log = file("files/crash.log", "crash"), notes = file("files/notes.txt", "n");
        _dialogs->openAnswers << QStringList{log} << QStringList{log} << QStringList{notes};
        for (int i = 0; i < 3; ++i) {
            click("_addAttachmentButton");
        }
        const auto* panel = std::get_if<OpenPanelOptions>(&_dialogs->calls[0]);
        QCOMPARE(QStringList({panel->title, panel->prompt}),
                 QStringList({"Select file(s) to attach:", "Select"}));
        QVERIFY(panel->canChooseFiles && !panel->canChooseDirectories);
        QVERIFY(panel->allowsMultipleSelection);
        QCOMPARE(rows(),
                 QStringList({"crash.log " + log, "crash.log " + log, "notes.txt " + notes}));
        QAbstractItemModel* model = table()->model();
        QVERIFY(!model->data(model->index(0, 0), Qt::DecorationRole).value<QPixmap>().isNull());
        QVERIFY(model->data(model->index(0, 1), Qt::DecorationRole).isNull());

        table()->selectRow(1);
        click("_removeAttachmentButton");
        QCOMPARE(rows(), QStringList({"notes.txt " + notes}));

        // Dropped from a file manager: files are added, folders turned away.
        QMimeData dropped;
        dropped.setUrls({QUrl::fromLocalFile(log), QUrl::fromLocalFile(_sandbox->home())});
        const QPoint at = table()->viewport()->rect().center();
        QDragEnterEvent enter(at, Qt::CopyAction, &dropped, Qt::LeftButton, Qt::NoModifier);
        QDropEvent drop(at, Qt::CopyAction, &dropped, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(table()->viewport(), &enter);
        QApplication::sendEvent(table()->viewport(), &drop);
        QCOMPARE(rows(), QStringList({"notes.txt " + notes, "crash.log " + log}));

        // Opened again while on screen: nothing changes. Closed and opened: a fresh comment and
        // list, the same name, company and e-mail.
        find<QLineEdit>("_companyField")->setText("Studio X");
        find<QTextEdit>("_textView")->setPlainText("it crashed");
        click("_createPackageButton");
        QCOMPARE(rows().size(), 2);
        QCOMPARE(find<QTextEdit>("_textView")->toPlainText(), QString("it crashed"));
        click("_cancelButton");
        click("_createPackageButton");
        QCOMPARE(rows(), QStringList());
        QCOMPARE(find<QTextEdit>("_textView")->toPlainText(), QString());
        QCOMPARE(find<QLineEdit>("_companyField")->text(), QString("Studio X"));
        QCOMPARE(find<QLineEdit>("_nameField")->text(), _app->prefs()->userName());
    }

    void privacyInformation() {
        click("_privacyButton");
        QCOMPARE(alerts().size(), 1);
        QCOMPARE(QStringList({alerts()[0].title, alerts()[0].message, alerts()[0].defaultButton}),
                 QStringList(
                     {"Privacy information", CorvixSupportPrefsController::kPrivacyMessage, "Ok"}));
    }

    void aPackageFromTheButtonToTheAlert() {
        // A cancelled save panel, opening on the Desktop with the proposed name, starts nothing.
        click("_createButton");
        QCOMPARE(_dialogs->calls.size(), 1);
        const auto* save = std::get_if<SavePanelOptions>(&_dialogs->calls[0]);
        QVERIFY(save != nullptr && save->canCreateDirectories);
        QCOMPARE(save->directory + "/" + save->fileName,
                 _sandbox->home() + "/Desktop/CorvixSupport.zip");
        QCOMPARE(stagingFolders(), 0);

        click("_createPackageButton");
        find<QLineEdit>("_nameField")->setText("Ann Lee");
        find<QLineEdit>("_companyField")->setText("Studio X");
        find<QLineEdit>("_emailField")->setText("ann@studio-x.de");
        find<QTextEdit>("_textView")->setPlainText("one\ntwo");
        _dialogs->openAnswers << QStringList{file("files/crash.log", "crash")};
        click("_addAttachmentButton");
        makePackage();

        QCOMPARE(alerts().size(), 1);
        QCOMPARE(QStringList({alerts()[0].title, alerts()[0].message}),
                 QStringList(
                     {AppController::kCreatedTitle,
                      QString::fromStdString(PackageJob::successMessage(_archive.toStdString()))}));
        const QByteArray manifest = unzip("package.xml");
        for (const char* expected :
             {"<user>Ann Lee</user>", "<company>Studio X</company>", "<email>ann@studio-x.de<",
              "<comment>one&lt;br &#47;&gt;two</comment>", "<path>user/crash.log</path>"}) {
            QVERIFY2(manifest.contains(expected), manifest.constData());
        }
        QCOMPARE(unzip("user/crash.log"), QByteArray("crash"));
        expectTheWindowFree();

        // Handed to the mail program: a stand-in that records its arguments.
        const QString mailer = file("bin/xdg-email", "#!/bin/sh\necho \"$@\" > \"$0.args\"\n");
        QFile::setPermissions(mailer, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(_sandbox->path("bin")) + ":" + path);
        _app->sendPackage();
        qputenv("PATH", path);
        QTRY_COMPARE(GuiSandbox::readFile(mailer + ".args"),
                     "--attach " + _archive.toUtf8() + " " CORVIX_SUPPORT_EMAIL "\n");
    }

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
            static const bool ownNamespace =
                geteuid() == 0 && unshare(CLONE_NEWNS) == 0 &&
                mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
            _mounted = ownNamespace && mount("tmpfs", QFile::encodeName(_sandbox->path("out")),
                                             "tmpfs", 0, "size=1m") == 0;
            if (!_mounted) {
                QSKIP("mounting a tmpfs needs root and a mount namespace of this thread's own");
            }
        }
        file("out/case.zip", "old");
        QByteArray noise(2 << 20, '\0');
        QRandomGenerator::global()->fillRange(reinterpret_cast<quint32*>(noise.data()),
                                              noise.size() / 4);
        _dialogs->openAnswers << QStringList{file("files/noise.bin", noise)};
        click("_addAttachmentButton");
        if (cause == "gone") {
            QFile::remove(_sandbox->path("files/noise.bin"));
        } else if (cause == "staging") {
            // The staging folder's name no longer fits a path buffer below this folder.
            QString deep = _sandbox->path("tmp");
            while (deep.size() < 1100) {
                deep += "/" + QString(200, 'd');
            }
            QVERIFY(QDir().mkpath(deep));
            qputenv("TMPDIR", QFile::encodeName(deep));
        }
        makePackage();

        QCOMPARE(alerts().size(), 1);
        QCOMPARE(alerts()[0].title, QString(PackageJob::kErrorTitle));
        QVERIFY2(alerts()[0].message.contains(message), qPrintable(alerts()[0].message));
        QCOMPARE(GuiSandbox::readFile(_archive), QByteArray("old"));
        QCOMPARE(stagingFolders(), staging);
        expectTheWindowFree();
    }

    void theWindowStaysResponsiveAndCancelStopsTheJob() {
        file("out/case.zip", "old");
        const QString large = file("files/large.bin", "");  // sparse: quick to make, slow to zip
        QVERIFY(QFile::resize(large, qint64(1) << 30));
        _dialogs->openAnswers << QStringList{large};
        click("_addAttachmentButton");

        QElapsedTimer clock, sinceTick;
        qint64 longestGap = 0, cancelledAt = -1;
        QStringList shown;
        QTimer ticks;
        connect(&ticks, &QTimer::timeout, [&] {
            longestGap = std::max(longestGap, sinceTick.restart());
            const QString text = find<QLabel>("_infoLabel")->text();
            if (shown.value(shown.size() - 1) != text) {
                shown << text;
            }
            if (cancelledAt < 0 && clock.elapsed() > 2000 && text.startsWith("Saving")) {
                cancelledAt = clock.elapsed();
                click("_stopButton", _app->progressPanel());
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
        QVERIFY(clock.elapsed() - cancelledAt < 5000);  // stopped within moments
        QCOMPARE(alerts().size(), 0);
        QCOMPARE(QDir(_sandbox->path("out")).entryList(QDir::Files | QDir::Hidden),
                 QStringList{"case.zip"});
        QCOMPARE(GuiSandbox::readFile(_archive), QByteArray("old"));
        QCOMPARE(stagingFolders(), 0);
        expectTheWindowFree();
    }

  private:
    template <class T>
    T* find(const char* name, QWidget* in = nullptr) const {
        for (QWidget* top : in != nullptr ? QWidgetList{in} : QApplication::topLevelWidgets()) {
            if (T* found =
                    top->objectName() == name ? qobject_cast<T*>(top) : top->findChild<T*>(name)) {
                return found;
            }
        }
        return nullptr;
    }
    void click(const char* name, QWidget* in = nullptr) {
        QAbstractButton* button = find<QAbstractButton>(name, in);
        QVERIFY2(button != nullptr, name);
        QTest::mouseClick(button, Qt::LeftButton);
    }
    QTableView* table() const { return find<QTableView>("_attachments"); }
    QStringList rows() const {
        QStringList texts;
        for (int row = 0; row < table()->model()->rowCount(); ++row) {
            texts << table()->model()->index(row, 0).data().toString() + " " +
                         table()->model()->index(row, 1).data().toString();
        }
        return texts;
    }
    QString file(const QString& relative, const QByteArray& contents) const {
        const QString path = _sandbox->path(relative);
        return GuiSandbox::writeFile(path, contents) ? path : QString();
    }
    // Confirms the panel and answers the save panel with the archive; returns after the job.
    void makePackage() {
        _dialogs->calls.clear();
        _dialogs->saveAnswers << _archive;
        click("_createButton");
    }
    QList<RecordedAlert> alerts() const {
        QList<RecordedAlert> found;
        for (const RecordingWindowDialogs::Call& call : _dialogs->calls) {
            if (const auto* alert = std::get_if<RecordedAlert>(&call)) {
                found << *alert;
            }
        }
        return found;
    }
    int stagingFolders() const {
        return QDir(_sandbox->path("tmp")).entryList({"osp_*"}, QDir::Dirs).size();
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
        QVERIFY(!_app->progressPanel()->isVisible());
        QVERIFY(!_app->progressPanel()->isAnimating());
        QCOMPARE(QApplication::activeModalWidget(), nullptr);
    }

    std::unique_ptr<GuiSandbox> _sandbox;
    std::unique_ptr<AppController> _app;
    std::unique_ptr<RecordingWindowDialogs> _dialogs;
    QString _archive;
    bool _mounted = false;
};

QTEST_MAIN(SupportViewTest)

#include "SupportViewTest.moc"
