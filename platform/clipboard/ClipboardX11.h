#pragma once

#include "platform/clipboard/Clipboard.h"

namespace Tessary {

/**
 * The X11 CLIPBOARD selection through Qt's xcb plugin. On Wayland sessions our GUI runs on XWayland and the
 * compositor bridges this selection to native clients.
 */
class ClipboardX11 final : public Clipboard
{
public:
    bool setText(const QString &text) override;
    bool keepAfterExit(const QString &text) override;
    QStringList imageTypes() const override;
    QByteArray data(const QString &mimeType) const override;
    void watchChanges(QObject *receiver, std::function<void()> changed) override;

private:
    bool hasClipboardManager() const;
    bool handToHelper(const QString &text) const;
};

} // namespace Tessary
