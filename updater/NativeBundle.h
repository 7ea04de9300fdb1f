#pragma once

#include <optional>

#include <QJsonObject>
#include <QString>

namespace Tessary {

/**
 * An application bundle on disk: a folder such as Tessary.app with an Info.json at its top that carries the
 * metadata (the same key names as on macOS: "CFBundleIdentifier", "CFBundleShortVersionString", "CFBundleVersion",
 * "CFBundleExecutable" relative to the bundle, "CFBundleLocalizations").
 *
 * A value: it reads Info.json once when opened and never again.
 */
class NativeBundle
{
public:
    /** The bundle at path, or none when the folder or its Info.json is missing or not a JSON object. */
    static std::optional<NativeBundle> open(const QString &path);

    /**
     * The bundle of the running program: the parent of the executable's folder (bin/) when it holds Info.json.
     * None for a program that does not run from a bundle (a developer build). Read once per process.
     */
    static const std::optional<NativeBundle> &main();

    /** Absolute, clean path of the bundle folder. */
    QString path() const { return m_path; }
    QJsonObject info() const { return m_info; }

    /** The value of an Info.json key when it is a string. */
    std::optional<QString> string(const QString &key) const;

    /** "CFBundleIdentifier" when it is a non-empty string. */
    std::optional<QString> identifier() const;
    /** Absolute path of "CFBundleExecutable" when it names an executable regular file inside the bundle. */
    std::optional<QString> executablePath() const;
    /** Whether "CFBundleLocalizations" is an array of strings. */
    bool hasLocalizations() const;

private:
    NativeBundle(QString path, QJsonObject info);

    QString m_path;
    QJsonObject m_info;
};

} // namespace Tessary
