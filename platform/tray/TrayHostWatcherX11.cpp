#include "platform/tray/TrayHostWatcherX11.h"

#include <cstdlib>
#include <cstring>

#include <xcb/xcb.h>

#include <QSocketNotifier>

namespace Tessary {

struct TrayHostWatcherX11::Connection
{
    xcb_connection_t *connection = nullptr;
    xcb_window_t root = 0;
    xcb_atom_t selection = 0;
    xcb_atom_t manager = 0;
};

namespace {

xcb_atom_t internAtom(xcb_connection_t *connection, const char *name)
{
    auto *reply = xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name), nullptr);
    const xcb_atom_t atom = reply != nullptr ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    free(reply);
    return atom;
}

} // namespace

TrayHostWatcherX11::TrayHostWatcherX11(QObject *parent)
    : QObject(parent)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        return;
    }
    int screen = 0;
    xcb_connection_t *connection = xcb_connect(nullptr, &screen);
    if (xcb_connection_has_error(connection) != 0) {
        xcb_disconnect(connection);
        return;
    }
    m_connection = new Connection;
    m_connection->connection = connection;
    auto roots = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screen && roots.rem > 0; ++i) {
        xcb_screen_next(&roots);
    }
    m_connection->root = roots.data->root;
    m_connection->selection =
        internAtom(connection, QByteArray("_NET_SYSTEM_TRAY_S" + QByteArray::number(screen)).constData());
    m_connection->manager = internAtom(connection, "MANAGER");
    // A tray manager's announcement goes to the root window's structure-notify listeners.
    const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection, m_connection->root, XCB_CW_EVENT_MASK, &mask);
    findManager();
    m_notifier = new QSocketNotifier(xcb_get_file_descriptor(connection), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &TrayHostWatcherX11::readEvents);
    QMetaObject::invokeMethod(this, &TrayHostWatcherX11::readEvents, Qt::QueuedConnection);
}

TrayHostWatcherX11::~TrayHostWatcherX11()
{
    if (m_connection != nullptr) {
        xcb_disconnect(m_connection->connection);
        delete m_connection;
    }
}

bool TrayHostWatcherX11::isConnected() const
{
    return m_connection != nullptr;
}

bool TrayHostWatcherX11::hasManager() const
{
    return m_manager != 0;
}

void TrayHostWatcherX11::findManager()
{
    xcb_connection_t *connection = m_connection->connection;
    auto *reply = xcb_get_selection_owner_reply(connection,
                                                xcb_get_selection_owner(connection, m_connection->selection), nullptr);
    m_manager = reply != nullptr ? reply->owner : 0;
    free(reply);
    if (m_manager != 0) {
        // Its window goes when the manager does.
        const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(connection, m_manager, XCB_CW_EVENT_MASK, &mask);
    }
    xcb_flush(connection);
}

void TrayHostWatcherX11::readEvents()
{
    xcb_connection_t *connection = m_connection->connection;
    bool changed = false;
    // Replies read meanwhile may have queued events that the socket no longer signals.
    while (xcb_generic_event_t *event = xcb_poll_for_event(connection)) {
        const uint8_t type = event->response_type & ~0x80;
        if (type == XCB_CLIENT_MESSAGE) {
            const auto *message = reinterpret_cast<const xcb_client_message_event_t *>(event);
            changed |= message->type == m_connection->manager && message->format == 32 &&
                       message->data.data32[1] == m_connection->selection;
        } else if (type == XCB_DESTROY_NOTIFY) {
            changed |= reinterpret_cast<const xcb_destroy_notify_event_t *>(event)->window == m_manager;
        }
        free(event);
    }
    if (xcb_connection_has_error(connection) != 0) {
        // The X server went away; nothing more will come from it.
        m_notifier->setEnabled(false);
        m_manager = 0;
        Q_EMIT managerChanged();
        return;
    }
    if (changed) {
        const quint32 before = m_manager;
        findManager();
        if (m_manager != before) {
            Q_EMIT managerChanged();
        }
        QMetaObject::invokeMethod(this, &TrayHostWatcherX11::readEvents, Qt::QueuedConnection);
    }
}

} // namespace Tessary
