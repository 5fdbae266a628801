#pragma once

#include <QString>

#include <optional>

namespace hopla {

// Why the configuration store refused an operation. The description is what the user reads.
enum class SyncedFileError { externalChange, conflict, unavailable, tooLarge, notRegular };

QString description(SyncedFileError error);

// A failed operation on the configuration file: one of the store's own refusals, or an
// error of the system (a full disk, a read-only folder), worded as the system words it.
struct ConfigurationFailure {
    std::optional<SyncedFileError> refusal; // absent for a system error
    QString systemMessage;

    static ConfigurationFailure of(SyncedFileError error) { return {error, {}}; }
    static ConfigurationFailure system(QString message) {
        return {std::nullopt, std::move(message)};
    }

    QString description() const;
    friend bool operator==(const ConfigurationFailure&, const ConfigurationFailure&) = default;
};

} // namespace hopla
