#include "updater/NativeUpdateHelper.h"

#include <algorithm>
#include <chrono>
#include <cerrno>
#include <limits>
#include <thread>

#include <signal.h>

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QUuid>

#include "updater/DecimalInteger.h"
#include "updater/NativeBundle.h"
#include "updater/NativeFileMove.h"

using namespace Qt::StringLiterals;

namespace Tessary::NativeUpdateHelper {

namespace {

const QString helperFlag = u"--native-update-helper"_s;

std::optional<pid_t> parentProcess(const QString &text)
{
    const std::optional<std::int64_t> value = parseDecimalInteger(text);
    if (!value || *value < std::numeric_limits<std::int32_t>::min() ||
        *value > std::numeric_limits<std::int32_t>::max()) {
        return std::nullopt;
    }
    return pid_t(*value);
}

bool isAlive(pid_t process)
{
    // EPERM: it exists but belongs to someone else; only ESRCH means it is gone.
    return ::kill(process, 0) == 0 || errno == EPERM;
}

bool waitForExit(pid_t process)
{
    // 20 s; TESSARY_UPDATE_HELPER_QUIT_TIMEOUT_MS shortens it for the tests of the case where it runs out.
    bool given = false;
    const int timeout = qEnvironmentVariableIntValue("TESSARY_UPDATE_HELPER_QUIT_TIMEOUT_MS", &given);
    for (int attempt = 0; attempt < (given ? std::min(timeout, 20000) / 100 : 200); ++attempt) {
        if (!isAlive(process)) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return !isAlive(process);
}

QString backupPath(const QString &current)
{
    const QFileInfo bundle(current);
    return bundle.absolutePath() + u"/."_s + bundle.fileName() + u".previous-"_s +
           QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

void rollBack(const QString &backup, const QString &current)
{
    if (QFileInfo(current).exists() || QFileInfo(current).isSymLink()) {
        removeItem(current);
    }
    (void)moveItem(backup, current);
}

void install(const QString &currentApplication, pid_t parent)
{
    // The program runs from the staged bundle, which is therefore what goes into place.
    const std::optional<NativeBundle> &source = NativeBundle::main();
    if (source && waitForExit(parent)) {
        if (replaceApplication(source->path(), currentApplication, &relaunch)) {
            return;
        }
    }
    // The old application is still where it was (or is back there): start it again.
    (void)relaunch(currentApplication);
}

} // namespace

bool runIfRequested(const QStringList &arguments)
{
    if (arguments.size() != 4 || arguments[1] != helperFlag) {
        return false;
    }
    const std::optional<pid_t> parent = parentProcess(arguments[3]);
    if (!parent) {
        return false;
    }
    install(arguments[2], *parent);
    return true;
}

Result<void, NativeUpdateError>
replaceApplication(const QString &source, const QString &current,
                   const std::function<Result<void, NativeUpdateError>(const QString &)> &relaunch)
{
    const QString backup = backupPath(current);
    if (const auto movedAside = moveItem(current, backup); !movedAside) {
        return movedAside;
    }
    if (const auto movedIn = moveItem(source, current); !movedIn) {
        rollBack(backup, current);
        return movedIn;
    }
    if (const auto started = relaunch(current); !started) {
        rollBack(backup, current);
        return started;
    }
    removeItem(backup);
    return {};
}

Result<void, NativeUpdateError> relaunch(const QString &bundle)
{
    QProcess opener;
    opener.setProgram(bundle + u"/libexec/tessary-helper"_s);
    opener.setArguments({u"open"_s, u"-n"_s, bundle});
    if (!opener.startDetached()) {
        return unexpected(NativeUpdateError::system(opener.errorString()));
    }
    return {};
}

} // namespace Tessary::NativeUpdateHelper
