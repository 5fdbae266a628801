#pragma once

#include "updater/UpdateConfiguration.h"
#include "updater/UpdateManifest.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>
#include <variant>

#include <sys/types.h>

// Turns a downloaded archive into a verified Hopla folder, and starts the helper that puts
// it in place.
namespace hopla::UpdateInstaller {

enum class Failure { invalidArchive, invalidApplication, cannotReplace };

// The failure's text in the updater's language.
QString description(Failure failure);

// A failure of the installer's own, or a system error passed on with its message.
struct Error {
    std::optional<Failure> failure;
    QString systemMessage; // when there is no failure of the installer's own
    QString detail;        // what exactly was refused, for logs and tests

    QString description() const;
};

template <typename T> using Result = std::variant<T, Error>;

// Where updates are unpacked: beside the installed Hopla folder when that folder can be
// written (the swap is then a rename within one file system), else the user's cache folder;
// never the temporary folder, which hardened systems mount noexec.
QString stagingRoot(const QString& installedBundle);
// Removes every staged update of the product under the root: one installed, or abandoned.
void removeStaged(const QString& root, const QString& product);

// Checks the archive's SHA-256 against the manifest before anything is written, unpacks it
// into a new staging folder ".<product>-update-<UUID>" under `root`, and checks the Hopla
// folder inside: identity (identifier, version, build), a program to start, and the
// publisher's and the distribution's signatures. Returns the verified folder's path; the
// staging folder stays for the helper. On failure the staging folder is removed.
Result<QString> prepare(const QByteArray& data, const UpdateManifest& manifest,
                        const UpdateConfiguration& configuration, const QString& root);

// Starts a program with arguments in a session of its own and returns at once.
std::optional<Error> startDetached(const QString& program, const QStringList& arguments);

// Starts the staged Hopla as the update helper for the bundle at `replacing`; the caller
// quits right after.
std::optional<Error> launchHelper(const QString& stagedApplication, const QString& replacing);

} // namespace hopla::UpdateInstaller
