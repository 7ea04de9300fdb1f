#pragma once

#include <optional>
#include <variant>

#include <QString>
#include <QStringList>

#include "updater/NativeUpdatePolicy.h"
#include "updater/UpdaterCopy.h"

namespace Tessary {

/** The installer's own failures (NativeUpdateInstaller::Failure). */
enum class NativeUpdateInstallerFailure {
    InvalidArchive,
    InvalidApplication,
    CannotReplace,
};

/**
 * Any failure of an update step: one of the module's own (manifest policy, installer), a failure of the system
 * (files, processes, network) described by one of the updater's texts with its details (a file name, a status
 * code), whose words all follow the updater's language whenever they are read; or, for the rare failure nobody
 * has words for, the system's own description.
 */
class NativeUpdateError
{
public:
    NativeUpdateError(NativeUpdatePolicy::Failure failure);
    NativeUpdateError(NativeUpdateInstallerFailure failure);
    static NativeUpdateError system(QString description);
    /** text: one of the updater's texts (UpdaterCopy), with "%1", "%2"… filled from arguments in order. */
    static NativeUpdateError message(QString text, QStringList arguments = {});

    std::optional<NativeUpdatePolicy::Failure> policyFailure() const;
    std::optional<NativeUpdateInstallerFailure> installerFailure() const;

    /** The description in the updater's current language, or in the one given. */
    QString localizedDescription() const;
    QString localizedDescription(UpdaterLanguage language) const;

    bool operator==(const NativeUpdateError &) const = default;

private:
    struct SystemError
    {
        QString description;
        /** Set when description is one of the updater's texts, to be translated and filled. */
        std::optional<QStringList> arguments;
        bool operator==(const SystemError &) const = default;
    };
    explicit NativeUpdateError(SystemError error);

    std::variant<NativeUpdatePolicy::Failure, NativeUpdateInstallerFailure, SystemError> m_value;
};

} // namespace Tessary
