#pragma once

#include <QString>

namespace Tessary {

/**
 * Where the updater stands. The first four kinds carry a text: the manifest's marketing version, or for Failed
 * the complete message in the language of the moment it failed.
 */
class NativeUpdateState
{
public:
    enum class Kind {
        Available,
        Downloading,
        Ready,
        Failed,
        Idle,
        Checking,
        Current,
    };

    static NativeUpdateState available(const QString &version) { return {Kind::Available, version}; }
    static NativeUpdateState downloading(const QString &version) { return {Kind::Downloading, version}; }
    static NativeUpdateState ready(const QString &version) { return {Kind::Ready, version}; }
    static NativeUpdateState failed(const QString &message) { return {Kind::Failed, message}; }
    static NativeUpdateState idle() { return {Kind::Idle, {}}; }
    static NativeUpdateState checking() { return {Kind::Checking, {}}; }
    static NativeUpdateState current() { return {Kind::Current, {}}; }

    Kind kind() const { return m_kind; }
    /** The version (Available, Downloading, Ready) or the message (Failed); empty otherwise. */
    QString text() const { return m_text; }

    bool operator==(const NativeUpdateState &) const = default;

private:
    NativeUpdateState(Kind kind, QString text)
        : m_kind(kind)
        , m_text(std::move(text))
    {}

    Kind m_kind;
    QString m_text;
};

} // namespace Tessary
