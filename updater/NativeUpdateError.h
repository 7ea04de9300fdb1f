#pragma once

#include <optional>
#include <variant>

#include <QString>

#include "updater/NativeUpdatePolicy.h"

namespace Tessary {

/** The installer's own failures (NativeUpdateInstaller::Failure). */
enum class NativeUpdateInstallerFailure {
    InvalidArchive,
    InvalidApplication,
    CannotReplace,
};

/**
 * Any failure of an update step: one of the module's own (manifest policy, installer), whose text follows the
 * updater's language whenever it is read, or a failure of the system (files, processes, network) that carries
 * the system's own description.
 */
class NativeUpdateError
{
public:
    NativeUpdateError(NativeUpdatePolicy::Failure failure);
    NativeUpdateError(NativeUpdateInstallerFailure failure);
    static NativeUpdateError system(QString description);

    std::optional<NativeUpdatePolicy::Failure> policyFailure() const;
    std::optional<NativeUpdateInstallerFailure> installerFailure() const;

    QString localizedDescription() const;

    bool operator==(const NativeUpdateError &) const = default;

private:
    struct SystemError
    {
        QString description;
        bool operator==(const SystemError &) const = default;
    };
    explicit NativeUpdateError(SystemError error);

    std::variant<NativeUpdatePolicy::Failure, NativeUpdateInstallerFailure, SystemError> m_value;
};

} // namespace Tessary
