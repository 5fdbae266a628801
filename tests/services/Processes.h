#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <chrono>
#include <utility>

namespace hopla::testing {

// Runs a program to its end: its exit status (-1 if it crashed or never ended) and output.
inline std::pair<int, QString>
runToEnd(const QString& program, const QStringList& arguments,
         const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment(),
         std::chrono::milliseconds limit = std::chrono::minutes(2)) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    const bool ended = process.waitForFinished(static_cast<int>(limit.count()));
    return {
        ended && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
        QString::fromLocal8Bit(process.readAllStandardOutput() + process.readAllStandardError())};
}

// Runs a program to its end; empty when it succeeded, else what it said.
inline QString run(const QString& program, const QStringList& arguments) {
    const auto [status, said] = runToEnd(program, arguments);
    return status == 0 ? QString() : program + ": " + said;
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
