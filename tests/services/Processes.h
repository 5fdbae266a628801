#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace hopla::testing {

// Runs a program to its end; empty when it succeeded, else what it said on standard error.
inline QString run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(120000);
    return process.exitCode() == 0 && process.exitStatus() == QProcess::NormalExit
               ? QString()
               : program + ": " + QString::fromLocal8Bit(process.readAllStandardError());
}

// A small file system of its own, mounted for the test (needs root, as CI has): a full or
// read-only disk, or simply another file system than the temporary folder's.
struct MountedFolder {
    QTemporaryDir dir;
    bool mounted = false;
    explicit MountedFolder(const QString& options) {
        mounted =
            QProcess::execute("mount", {"-t", "tmpfs", "-o", options, "tmpfs", dir.path()}) == 0;
    }
    ~MountedFolder() {
        if (mounted) {
            QProcess::execute("umount", {dir.path()});
        }
    }
    MountedFolder(const MountedFolder&) = delete;
    MountedFolder& operator=(const MountedFolder&) = delete;
};

} // namespace hopla::testing
