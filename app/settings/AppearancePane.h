#pragma once

#include <QWidget>

class QButtonGroup;

namespace Tessary {

class NativeAppAppearance;
class SettingsTexts;
class TessaryPreferences;

/** The appearance pane: the colour mode and the accent palette (icon and accent colour). */
class AppearancePane final : public QWidget
{
    Q_OBJECT
public:
    AppearancePane(TessaryPreferences &preferences, NativeAppAppearance &appearance, SettingsTexts &texts,
                   QWidget *parent = nullptr);

private:
    void showColorMode();

    TessaryPreferences &m_preferences;
    QButtonGroup *m_colorModes = nullptr;
};

} // namespace Tessary
