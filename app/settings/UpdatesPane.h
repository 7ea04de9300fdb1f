#pragma once

#include <QWidget>

namespace Tessary {

class SettingsTexts;

/** The updates pane: the installed version and the updater's state and controls. */
class UpdatesPane final : public QWidget
{
    Q_OBJECT
public:
    UpdatesPane(SettingsTexts &texts, QWidget *parent = nullptr);
};

} // namespace Tessary
