// A temporary machine root and HOME for the window's tests: <tmp>/root is CORVIX_ROOT, <tmp>/home
// is HOME, <tmp>/home/.config is XDG_CONFIG_HOME and <tmp>/tmp is TMPDIR, so the views' core
// calls read and write only inside it. The environment is restored and the folder removed on
// destruction.
#ifndef CORVIX_TESTS_GUI_GUISANDBOX_H
#define CORVIX_TESTS_GUI_GUISANDBOX_H

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <map>
#include <optional>
#include <string>

#include "VeskPlatform.h"

class GuiSandbox {
  public:
    GuiSandbox() {
        vesk_setMachineRoot("");
        QDir(_dir.path()).mkpath("root");
        QDir(_dir.path()).mkpath("home/.config");
        QDir(_dir.path()).mkpath("tmp");
        set("CORVIX_ROOT", root());
        set("HOME", home());
        set("XDG_CONFIG_HOME", home() + "/.config");
        set("TMPDIR", path("tmp"));
    }
    ~GuiSandbox() {
        for (const auto& [name, value] : _saved) {
            if (value) {
                qputenv(name.c_str(), *value);
            } else {
                qunsetenv(name.c_str());
            }
        }
    }
    GuiSandbox(const GuiSandbox&) = delete;
    GuiSandbox& operator=(const GuiSandbox&) = delete;

    QString path(const QString& relative = QString()) const {
        return relative.isEmpty() ? _dir.path() : _dir.path() + "/" + relative;
    }
    QString root() const { return path("root"); }
    QString home() const { return path("home"); }

    // Writes contents to path, making its folders.
    static bool writeFile(const QString& path, const QByteArray& contents) {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size();
    }
    static QByteArray readFile(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

  private:
    void set(const char* name, const QString& value) {
        if (_saved.find(name) == _saved.end()) {
            _saved[name] = qEnvironmentVariableIsSet(name)
                               ? std::optional<QByteArray>(qgetenv(name))
                               : std::nullopt;
        }
        qputenv(name, value.toLocal8Bit());
    }

    QTemporaryDir _dir;
    std::map<std::string, std::optional<QByteArray>> _saved;
};

#endif
