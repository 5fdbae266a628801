#include "updater/UpdateHelper.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <fcntl.h>
#include <signal.h>
#include <stdio.h> // renameat2
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <thread>

namespace hopla::UpdateHelper {

using UpdateInstaller::Error;
using UpdateInstaller::Failure;

namespace {

Error systemError(const QString& what) {
    const QString message =
        what + QStringLiteral(": ") + QString::fromLocal8Bit(std::strerror(errno));
    return Error{std::nullopt, message, message};
}

bool renamePath(const QString& from, const QString& to, unsigned flags = 0) {
    return ::renameat2(AT_FDCWD, QFile::encodeName(from).constData(), AT_FDCWD,
                       QFile::encodeName(to).constData(), flags) == 0;
}

QString sibling(const QString& current, const char* role) {
    const QFileInfo target(current);
    return target.dir().filePath(QLatin1Char('.') + target.fileName() + QLatin1String(role) +
                                 QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper());
}

// Copies the staged folder to another file system, modes kept, links as links; the
// system's reason when that fails.
std::optional<Error> copyAcross(const QString& from, const QString& to) {
    namespace fs = std::filesystem;
    std::error_code error;
    fs::copy(QFile::encodeName(from).toStdString(), QFile::encodeName(to).toStdString(),
             fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
    if (!error) {
        return std::nullopt;
    }
    const QString message = QStringLiteral("cannot copy %1 to %2: %3")
                                .arg(from, to, QString::fromLocal8Bit(error.message().c_str()));
    return Error{std::nullopt, message, message};
}

} // namespace

std::optional<Request> parseArguments(const QStringList& arguments) {
    if (arguments.size() != 4 || arguments[1] != QLatin1String("--native-update-helper")) {
        return std::nullopt;
    }
    // A decimal number with an optional sign that fits 32 bits, nothing else.
    QStringView pid = arguments[3];
    const bool negative = pid.startsWith(QLatin1Char('-'));
    if (negative || pid.startsWith(QLatin1Char('+'))) {
        pid = pid.mid(1);
    }
    const bool digits =
        !pid.isEmpty() && pid.size() <= 10 && std::all_of(pid.begin(), pid.end(), [](QChar c) {
            return c >= QLatin1Char('0') && c <= QLatin1Char('9');
        });
    const qlonglong magnitude = digits ? pid.toLongLong() : -1;
    const qlonglong value = negative ? -magnitude : magnitude;
    if (!digits || value < INT32_MIN || value > INT32_MAX) {
        return std::nullopt;
    }
    const auto parent = static_cast<pid_t>(value);
    return Request{arguments[2], parent};
}

bool runIfRequested(const QStringList& arguments) {
    const auto request = parseArguments(arguments);
    if (!request) {
        return false;
    }
    install(AppBundle::running().path, request->target, request->parent);
    return true;
}

void install(const QString& source, const QString& current, pid_t parent, ParentWait wait) {
    bool gone = false;
    for (int attempt = 0; attempt < wait.attempts && !gone; ++attempt) {
        gone = ::kill(parent, 0) != 0 && errno == ESRCH;
        if (!gone) {
            std::this_thread::sleep_for(wait.interval);
        }
    }
    std::optional<Error> failed;
    if (!gone) {
        failed = Error{
            Failure::cannotReplace, {}, QStringLiteral("process %1 did not quit").arg(parent)};
    } else {
        failed = replaceApplication(source, current, &relaunch);
    }
    if (failed) {
        std::fprintf(stderr, "hopla: update not installed: %s\n", qPrintable(failed->detail));
        relaunch(current); // the old Hopla, whatever happened
    }
}

std::optional<Error> replaceApplication(const QString& source, const QString& current,
                                        const Relaunch& relaunch,
                                        const std::function<void(Step)>& reached) {
    const auto report = [&reached](Step step) {
        if (reached) {
            reached(step);
        }
    };
    // The new folder goes next to the old one first, so that the swap is one rename within
    // one file system.
    const QString incoming = sibling(current, ".incoming-");
    if (!renamePath(source, incoming)) {
        std::optional<Error> failed =
            errno == EXDEV
                ? copyAcross(source, incoming)
                : systemError(QStringLiteral("cannot bring %1 next to %2").arg(source, current));
        if (failed) {
            QDir(incoming).removeRecursively();
            return failed;
        }
    }
    report(Step::staged);

    if (renamePath(incoming, current, RENAME_EXCHANGE)) {
        // `incoming` now holds the old Hopla.
        report(Step::swapped);
        if (auto failed = relaunch(current)) {
            renamePath(incoming, current, RENAME_EXCHANGE);
            QDir(incoming).removeRecursively();
            return failed;
        }
        report(Step::relaunched);
        QDir(incoming).removeRecursively();
        report(Step::cleaned);
        return std::nullopt;
    }

    // No atomic exchange here: move the old folder aside, with a way back.
    const QString backup = sibling(current, ".previous-");
    if (!renamePath(current, backup)) {
        const Error error = systemError(QStringLiteral("cannot move %1 aside").arg(current));
        QDir(incoming).removeRecursively();
        return error;
    }
    const auto rollBack = [&](Error error) {
        if (QFileInfo::exists(current)) {
            QDir(current).removeRecursively();
        }
        renamePath(backup, current);
        QDir(incoming).removeRecursively();
        return error;
    };
    if (!renamePath(incoming, current)) {
        return rollBack(systemError(QStringLiteral("cannot move the new %1 in").arg(current)));
    }
    report(Step::swapped);
    if (auto failed = relaunch(current)) {
        return rollBack(*failed);
    }
    report(Step::relaunched);
    QDir(backup).removeRecursively();
    report(Step::cleaned);
    return std::nullopt;
}

std::optional<Error> relaunch(const QString& application) {
    const auto bundle = AppBundle::open(application);
    const auto program = bundle ? bundle->executable() : std::nullopt;
    if (!program) {
        return Error{Failure::invalidApplication,
                     {},
                     QStringLiteral("%1 has no program to start").arg(application)};
    }
    return UpdateInstaller::startDetached(*program, {});
}

} // namespace hopla::UpdateHelper
