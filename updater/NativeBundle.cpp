#include "updater/NativeBundle.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

// Info.json is a few hundred bytes; anything much larger is not ours.
constexpr qint64 maximumInfoSize = 1 << 20;

QString runningExecutable()
{
    // Works before QCoreApplication exists, which the updater's command-line modes need.
    return QFileInfo(u"/proc/self/exe"_s).canonicalFilePath();
}

} // namespace

NativeBundle::NativeBundle(QString path, QJsonObject info)
    : m_path(std::move(path))
    , m_info(std::move(info))
{}

std::optional<NativeBundle> NativeBundle::open(const QString &path)
{
    const QFileInfo folder(path);
    if (!folder.isDir()) {
        return std::nullopt;
    }
    QFile file(folder.absoluteFilePath() + u"/Info.json"_s);
    if (!file.open(QIODevice::ReadOnly) || file.size() > maximumInfoSize) {
        return std::nullopt;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    return NativeBundle(QDir::cleanPath(folder.absoluteFilePath()), document.object());
}

const std::optional<NativeBundle> &NativeBundle::main()
{
    static const std::optional<NativeBundle> bundle = [] {
        const QString executable = runningExecutable();
        if (executable.isEmpty()) {
            return std::optional<NativeBundle>();
        }
        QDir root = QFileInfo(executable).dir();
        if (root.dirName() != u"bin"_s || !root.cdUp() || !QFileInfo::exists(root.filePath(u"Info.json"_s))) {
            return std::optional<NativeBundle>();
        }
        return open(root.path());
    }();
    return bundle;
}

std::optional<QString> NativeBundle::string(const QString &key) const
{
    const QJsonValue value = m_info.value(key);
    if (!value.isString()) {
        return std::nullopt;
    }
    return value.toString();
}

std::optional<QString> NativeBundle::identifier() const
{
    std::optional<QString> identifier = string(u"CFBundleIdentifier"_s);
    if (identifier && identifier->isEmpty()) {
        return std::nullopt;
    }
    return identifier;
}

std::optional<QString> NativeBundle::executablePath() const
{
    const std::optional<QString> relative = string(u"CFBundleExecutable"_s);
    if (!relative || relative->isEmpty() || QDir::isAbsolutePath(*relative)) {
        return std::nullopt;
    }
    const QString path = QDir::cleanPath(m_path + u'/' + *relative);
    if (!path.startsWith(m_path + u'/')) {
        return std::nullopt;
    }
    const QFileInfo file(path);
    if (!file.isFile() || file.isSymLink() || !file.isExecutable()) {
        return std::nullopt;
    }
    return path;
}

bool NativeBundle::hasLocalizations() const
{
    const QJsonValue value = m_info.value(u"CFBundleLocalizations"_s);
    if (!value.isArray()) {
        return false;
    }
    const QJsonArray entries = value.toArray();
    return std::ranges::all_of(entries, [](const QJsonValue &entry) { return entry.isString(); });
}

} // namespace Tessary
