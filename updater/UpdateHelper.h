#pragma once

#include "updater/UpdateInstaller.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>

#include <sys/types.h>

// The update helper: the staged Hopla started with "--native-update-helper <target> <pid>".
// It waits for the running Hopla to quit, puts the new folder in place of the old one and
// starts it; whatever fails, a runnable Hopla is left at the target and started.
namespace hopla::UpdateHelper {

struct Request {
    QString target;
    pid_t parent = 0;
};

// The request in a command line (the program first), or nothing when it is not exactly
// the helper's: four arguments, the flag second, a decimal 32-bit process id fourth.
std::optional<Request> parseArguments(const QStringList& arguments);

// How long the helper waits for the old Hopla to quit: 200 × 100 ms.
struct ParentWait {
    int attempts = 200;
    std::chrono::milliseconds interval{100};
};

// Runs the helper when the command line asks for it and returns true; false otherwise.
bool runIfRequested(const QStringList& arguments);

// The helper's work: `source` is the verified new folder, `current` the installed one.
void install(const QString& source, const QString& current, pid_t parent, ParentWait wait = {});

// The moments of a replacement, in order.
enum class Step { staged, swapped, relaunched, cleaned };

using Relaunch = std::function<std::optional<UpdateInstaller::Error>(const QString&)>;

// Puts `source` in place of `current` and relaunches it. Where the file system can, the two
// folders are exchanged in one atomic rename, so the target always holds a whole Hopla;
// elsewhere the old folder is moved aside first. Any failure puts the old folder back.
// `reached` hears each step as it is done.
std::optional<UpdateInstaller::Error>
replaceApplication(const QString& source, const QString& current, const Relaunch& relaunch,
                   const std::function<void(Step)>& reached = {});

// Starts the Hopla folder at `application`.
std::optional<UpdateInstaller::Error> relaunch(const QString& application);

} // namespace hopla::UpdateHelper
