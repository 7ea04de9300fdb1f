#pragma once

#include <initializer_list>
#include <utility>

#include <QByteArray>
#include <QJsonValue>
#include <QString>

namespace Tessary::Test {

/** Writes the file in place, making its folders. */
void writeFile(const QString &path, const QByteArray &bytes);

/**
 * Puts bytes at path the way a sync tool delivers another device's version: written to a hidden temporary file in
 * the same folder, then renamed over the file. Makes the folders.
 */
void deliver(const QString &path, const QByteArray &bytes);

/**
 * A complete, valid configuration file as another installation writes it (model "synced-model", prompt "Polish.",
 * language "zh-Hans", palette "violet", the default shortcut), with the given keys replaced; an undefined value
 * removes the key.
 */
QByteArray configuration(std::initializer_list<std::pair<QString, QJsonValue>> overrides);

/**
 * Makes a folder read-only for this process while the object lives, also when the tests run as root: root's power
 * to write anywhere (CAP_DAC_OVERRIDE) is dropped from the effective set meanwhile, so the permission bits count.
 */
class ReadOnlyFolder final
{
public:
    explicit ReadOnlyFolder(const QString &folder);
    ~ReadOnlyFolder();
    ReadOnlyFolder(const ReadOnlyFolder &) = delete;
    ReadOnlyFolder &operator=(const ReadOnlyFolder &) = delete;

private:
    QString m_folder;
    bool m_droppedOverride = false;
};

} // namespace Tessary::Test
