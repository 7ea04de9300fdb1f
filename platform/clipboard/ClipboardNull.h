#pragma once

#include "platform/clipboard/Clipboard.h"

namespace Tessary {

/** No display, no clipboard: every operation fails. */
class ClipboardNull final : public Clipboard
{
public:
    bool setText(const QString &text) override;
    bool keepAfterExit(const QString &text) override;
    QStringList imageTypes() const override;
    QByteArray data(const QString &mimeType) const override;
    void watchChanges(QObject *receiver, std::function<void()> changed) override;
};

} // namespace Tessary
