#pragma once

#include "platform/hotkey/HotKeyBackend.h"

namespace Tessary {

/** No global shortcuts on this desktop: every registration fails. */
class HotKeyNull final : public HotKeyBackend
{
    Q_OBJECT
public:
    using HotKeyBackend::HotKeyBackend;

    bool registerShortcut(const HotKeyCombination &combination) override;
    void unregisterShortcut() override;
    bool canRegister() const override;
    QString description() const override;
};

} // namespace Tessary
