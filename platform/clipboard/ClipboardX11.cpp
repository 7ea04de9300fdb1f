#include "platform/clipboard/ClipboardX11.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <xcb/xcb.h>

#include <QClipboard>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>

#include "platform/bundle/BundleLayout.h"

namespace Tessary {

namespace {

constexpr int helperReadyTimeoutMs = 2000;

xcb_connection_t *x11Connection()
{
    auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

bool writeAll(int fd, const QByteArray &bytes)
{
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.constData() + done, size_t(bytes.size() - done));
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        done += n;
    }
    return true;
}

/** Waits for the helper's "ok", which it sends once it owns the selection. */
bool readReady(int fd)
{
    QByteArray answer;
    QElapsedTimer timer;
    timer.start();
    while (answer.size() < 2) {
        const int left = helperReadyTimeoutMs - int(timer.elapsed());
        if (left <= 0) {
            return false;
        }
        pollfd pfd{fd, POLLIN, 0};
        const int ready = ::poll(&pfd, 1, left);
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready <= 0) {
            return false;
        }
        char buffer[2];
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0) {
            return false;
        }
        answer.append(buffer, n);
    }
    return answer.startsWith("ok");
}

} // namespace

bool ClipboardX11::setText(const QString &text)
{
    QClipboard *clipboard = QGuiApplication::clipboard();
    if (clipboard == nullptr) {
        return false;
    }
    auto *data = new QMimeData;
    data->setText(text);
    clipboard->setMimeData(data, QClipboard::Clipboard);
    return clipboard->ownsClipboard() && clipboard->text(QClipboard::Clipboard) == text;
}

bool ClipboardX11::keepAfterExit(const QString &text)
{
    // A clipboard manager receives the data from Qt when the application object is destroyed.
    if (hasClipboardManager()) {
        return true;
    }
    return handToHelper(text);
}

QStringList ClipboardX11::imageTypes() const
{
    QClipboard *clipboard = QGuiApplication::clipboard();
    const QMimeData *data = clipboard != nullptr ? clipboard->mimeData(QClipboard::Clipboard) : nullptr;
    if (data == nullptr) {
        return {};
    }
    // Asks the owner for its targets (Qt waits for its answer a few seconds at most).
    QStringList types = data->formats();
    types.removeIf([](const QString &type) { return !type.startsWith(u"image/"); });
    return types;
}

QByteArray ClipboardX11::data(const QString &mimeType) const
{
    QClipboard *clipboard = QGuiApplication::clipboard();
    const QMimeData *data = clipboard != nullptr ? clipboard->mimeData(QClipboard::Clipboard) : nullptr;
    return data != nullptr ? data->data(mimeType) : QByteArray();
}

void ClipboardX11::watchChanges(QObject *receiver, std::function<void()> changed)
{
    // Qt hears of other programs taking the selection through XFixes, and of our own changes directly.
    if (QClipboard *clipboard = QGuiApplication::clipboard()) {
        QObject::connect(clipboard, &QClipboard::changed, receiver,
                         [changed = std::move(changed)](QClipboard::Mode mode) {
                             if (mode == QClipboard::Clipboard) {
                                 changed();
                             }
                         });
    }
}

bool ClipboardX11::hasClipboardManager() const
{
    xcb_connection_t *connection = x11Connection();
    if (connection == nullptr) {
        return false;
    }
    static const char name[] = "CLIPBOARD_MANAGER";
    xcb_intern_atom_reply_t *atom =
        xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 1, sizeof name - 1, name), nullptr);
    if (atom == nullptr) {
        return false;
    }
    const xcb_atom_t managerAtom = atom->atom;
    free(atom);
    if (managerAtom == XCB_ATOM_NONE) {
        return false;
    }
    xcb_get_selection_owner_reply_t *owner =
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, managerAtom), nullptr);
    const bool managed = owner != nullptr && owner->owner != XCB_NONE;
    free(owner);
    return managed;
}

bool ClipboardX11::handToHelper(const QString &text) const
{
    const QString helper = BundleLayout::helperExecutable();
    if (helper.isEmpty() || !QFile::exists(helper)) {
        return false;
    }
    const std::string helperPath = QFile::encodeName(helper).toStdString();

    int toHelper[2];
    int fromHelper[2];
    if (::pipe2(toHelper, O_CLOEXEC) != 0) {
        return false;
    }
    if (::pipe2(fromHelper, O_CLOEXEC) != 0) {
        ::close(toHelper[0]);
        ::close(toHelper[1]);
        return false;
    }

    // Double fork: the helper must outlive us in its own session and never become our zombie.
    const pid_t child = ::fork();
    if (child == 0) {
        ::setsid();
        const pid_t grandchild = ::fork();
        if (grandchild != 0) {
            ::_exit(grandchild < 0 ? 1 : 0);
        }
        ::dup2(toHelper[0], STDIN_FILENO);
        ::dup2(fromHelper[1], STDOUT_FILENO);
        const int devNull = ::open("/dev/null", O_WRONLY);
        if (devNull >= 0) {
            ::dup2(devNull, STDERR_FILENO);
        }
        ::execl(helperPath.c_str(), helperPath.c_str(), "clipboard-serve", static_cast<char *>(nullptr));
        ::_exit(127);
    }
    ::close(toHelper[0]);
    ::close(fromHelper[1]);
    if (child < 0) {
        ::close(toHelper[1]);
        ::close(fromHelper[0]);
        return false;
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }

    // A helper that died early must not kill us through SIGPIPE.
    struct sigaction ignore
    {
    };
    struct sigaction previous
    {
    };
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignore, &previous);
    const bool sent = writeAll(toHelper[1], text.toUtf8());
    ::close(toHelper[1]);
    ::sigaction(SIGPIPE, &previous, nullptr);

    const bool ready = sent && readReady(fromHelper[0]);
    ::close(fromHelper[0]);
    return ready;
}

} // namespace Tessary
