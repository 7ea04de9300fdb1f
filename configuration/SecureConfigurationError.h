#pragma once

#include <QString>

namespace Tessary {

/**
 * Why an access to the configuration file failed: one of the repository's own four reasons, or a file-system error
 * passed on with the system's description.
 *
 * The description of the four own reasons is one Simplified Chinese text, the same whatever the interface language;
 * an application that wants another language looks that text up in its own tables.
 */
struct SecureConfigurationError
{
    /** The numbers are stable: they are the codes other components see. */
    enum class Code {
        ExternalChange = 0,
        Conflict = 1,
        Unavailable = 2,
        TooLarge = 3,
        /** A file-system error; description and errorNumber are the system's. */
        System = 100,
    };

    static constexpr auto domain = "Tessary.SecureConfigurationError";

    static SecureConfigurationError of(Code code);
    /**
     * A failed system call on path: the description reads "operation path: the system's reason". An application
     * that words the failure itself uses errorNumber and path.
     */
    static SecureConfigurationError system(const QString &operation, const QString &path, int errorNumber);

    Code code = Code::System;
    QString description;
    /** errno of a System error, 0 otherwise. */
    int errorNumber = 0;
    /** The file or folder a System error concerns; empty otherwise. */
    QString path;
};

} // namespace Tessary
