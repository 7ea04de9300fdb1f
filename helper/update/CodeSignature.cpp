#include "helper/update/CodeSignature.h"

#include <filesystem>
#include <system_error>

#include <QCryptographicHash>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include "helper/update/Ed25519Key.h"
#include "updater/NativeBundle.h"

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace Tessary::CodeSignature {

namespace {

struct SealedFile
{
    QByteArray sha256;
    fs::perms mode;
};

constexpr qint64 maximumResourcesSize = 16 << 20;

QString fromPath(const fs::path &path)
{
    return QString::fromStdString(path.generic_string());
}

fs::path toPath(const QString &path)
{
    return fs::path(path.toStdString());
}

bool isSealablePath(const QString &path)
{
    if (path.isEmpty() || path.startsWith(u'/') || path.startsWith(QLatin1StringView(folderName) + u'/')) {
        return false;
    }
    const QStringList parts = path.split(u'/');
    return std::ranges::none_of(
        parts, [](const QString &part) { return part.isEmpty() || part == u"."_s || part == u".."_s; });
}

Result<QHash<QString, SealedFile>, QString> sealedFiles(const QJsonObject &files)
{
    QHash<QString, SealedFile> sealed;
    for (auto it = files.begin(); it != files.end(); ++it) {
        const QJsonObject entry = it.value().toObject();
        const QString hash = entry.value(u"sha256"_s).toString();
        const QString mode = entry.value(u"mode"_s).toString();
        if (!isSealablePath(it.key()) || hash.size() != 64 || hash != hash.toLower() ||
            (mode != u"0755"_s && mode != u"0644"_s)) {
            return unexpected(u"malformed seal entry: "_s + it.key());
        }
        sealed.insert(it.key(), SealedFile{hash.toLatin1(), fs::perms(mode.toUInt(nullptr, 8))});
    }
    return sealed;
}

std::optional<QByteArray> fileHash(const fs::path &path)
{
    QFile file(fromPath(path));
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!hash.addData(&file)) {
        return std::nullopt;
    }
    return hash.result().toHex();
}

// The signature folder holds the seal and its signatures, nothing else.
Result<void, QString> checkSignatureFolder(const fs::path &folder)
{
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder, error)) {
        const std::string name = entry.path().filename().string();
        const bool known = name == resourcesName || name == developerSignatureName || name == notarySignatureName;
        if (!known || entry.symlink_status().type() != fs::file_type::regular) {
            return unexpected(u"unexpected entry in _CodeSignature: "_s + QString::fromStdString(name));
        }
    }
    if (error) {
        return unexpected(u"cannot read _CodeSignature"_s);
    }
    return {};
}

// Walks the bundle and compares what is there with what is sealed.
Result<void, QString> checkContents(const fs::path &root, const QHash<QString, SealedFile> &sealed)
{
    QSet<QString> seen;
    QSet<QString> folders;
    std::error_code error;
    fs::recursive_directory_iterator it(root, fs::directory_options::none, error);
    for (; !error && it != fs::recursive_directory_iterator(); it.increment(error)) {
        const QString relative = fromPath(it->path().lexically_relative(root));
        const fs::file_status status = it->symlink_status(error);
        if (error) {
            break;
        }
        if (relative == QLatin1StringView(folderName)) {
            if (status.type() != fs::file_type::directory) {
                return unexpected(u"_CodeSignature is not a folder"_s);
            }
            if (const auto checked = checkSignatureFolder(it->path()); !checked) {
                return checked;
            }
            it.disable_recursion_pending();
            continue;
        }
        switch (status.type()) {
        case fs::file_type::directory:
            folders.insert(relative);
            break;
        case fs::file_type::regular: {
            const auto found = sealed.constFind(relative);
            if (found == sealed.cend()) {
                return unexpected(u"file added after signing: "_s + relative);
            }
            if ((status.permissions() & fs::perms::mask) != found->mode) {
                return unexpected(u"mode changed after signing: "_s + relative);
            }
            if (fileHash(it->path()) != found->sha256) {
                return unexpected(u"file modified after signing: "_s + relative);
            }
            seen.insert(relative);
            break;
        }
        case fs::file_type::symlink:
            return unexpected(u"symbolic link in bundle: "_s + relative);
        default:
            return unexpected(u"special file in bundle: "_s + relative);
        }
    }
    if (error) {
        return unexpected(u"cannot read the bundle: "_s + QString::fromStdString(error.message()));
    }
    for (auto it = sealed.keyBegin(); it != sealed.keyEnd(); ++it) {
        if (!seen.contains(*it)) {
            return unexpected(u"file missing: "_s + *it);
        }
    }
    // A folder that holds no sealed file could still change how the program behaves (a plugin folder, say).
    for (const QString &folder : std::as_const(folders)) {
        const QString prefix = folder + u'/';
        const bool holdsSealedFile =
            std::ranges::any_of(seen, [&prefix](const QString &file) { return file.startsWith(prefix); });
        if (!holdsSealedFile) {
            return unexpected(u"folder added after signing: "_s + folder);
        }
    }
    return {};
}

} // namespace

Result<QByteArray, QString> readSealFile(const QString &bundlePath, const char *name, qint64 maximumSize)
{
    const fs::path path = toPath(bundlePath) / folderName / name;
    std::error_code error;
    if (fs::symlink_status(path, error).type() != fs::file_type::regular) {
        return unexpected(u"missing %1/%2"_s.arg(QLatin1StringView(folderName), QLatin1StringView(name)));
    }
    QFile file(fromPath(path));
    if (!file.open(QIODevice::ReadOnly) || file.size() > maximumSize) {
        return unexpected(u"unreadable %1/%2"_s.arg(QLatin1StringView(folderName), QLatin1StringView(name)));
    }
    return file.readAll();
}

Result<void, QString> verify(const QString &bundlePath, const std::optional<CodeRequirement> &requirement,
                             const QByteArrayList &trustedDeveloperKeys)
{
    const fs::path root = toPath(bundlePath);
    std::error_code error;
    if (fs::symlink_status(root, error).type() != fs::file_type::directory) {
        return unexpected(u"not a bundle folder: "_s + bundlePath);
    }
    const auto resources = readSealFile(bundlePath, resourcesName, maximumResourcesSize);
    const auto signature = readSealFile(bundlePath, developerSignatureName, 1024);
    if (!resources) {
        return unexpected(resources.error());
    }
    if (!signature) {
        return unexpected(signature.error());
    }
    const QJsonObject seal = QJsonDocument::fromJson(*resources).object();
    const QString identifier = seal.value(u"identifier"_s).toString();
    const QString team = seal.value(u"teamIdentifier"_s).toString();
    if (identifier.isEmpty() || team.isEmpty() || !seal.value(u"files"_s).isObject()) {
        return unexpected(u"malformed CodeResources.json"_s);
    }
    if (seal.value(u"kind"_s).toString() != u"developer-id"_s) {
        return unexpected(u"not a Developer ID signature"_s);
    }
    if (requirement && (requirement->teamIdentifier != team || requirement->identifier != identifier)) {
        return unexpected(u"requirement not met: signed by team %1 for %2"_s.arg(team, identifier));
    }

    // Only a trusted key can speak for a team, and the team names exactly one key.
    const auto key = std::ranges::find_if(trustedDeveloperKeys, [&team](const QByteArray &pem) {
        const std::optional<Ed25519Key> candidate = Ed25519Key::fromPem(pem);
        return candidate && candidate->teamIdentifier() == team;
    });
    if (key == trustedDeveloperKeys.end()) {
        return unexpected(u"no trusted developer key for team "_s + team);
    }
    if (!Ed25519Key::fromPem(*key)->verify(*resources, *signature)) {
        return unexpected(u"developer signature does not match CodeResources.json"_s);
    }

    const std::optional<NativeBundle> bundle = NativeBundle::open(bundlePath);
    if (!bundle || bundle->identifier() != identifier) {
        return unexpected(u"Info.json does not carry the signed identifier "_s + identifier);
    }
    const auto files = sealedFiles(seal.value(u"files"_s).toObject());
    if (!files) {
        return unexpected(files.error());
    }
    return checkContents(root, *files);
}

} // namespace Tessary::CodeSignature
