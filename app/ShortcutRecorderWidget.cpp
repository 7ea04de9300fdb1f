#include "app/ShortcutRecorderWidget.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/TessaryPreferences.h"
#include "app/localization/TessaryLocalized.h"

using namespace Qt::StringLiterals;

namespace Tessary {

ShortcutRecorderWidget::ShortcutRecorderWidget(TessaryPreferences &preferences, QWidget *parent)
    : QWidget(parent)
    , m_preferences(preferences)
    , m_title(new QLabel(this))
    , m_button(new QPushButton(this))
    , m_message(new QLabel(this))
    , m_error(new QLabel(this))
{
    m_title->setObjectName(u"shortcutTitle"_s);
    m_button->setObjectName(u"recordButton"_s);
    m_message->setObjectName(u"recorderMessage"_s);
    m_error->setObjectName(u"shortcutError"_s);

    // Monospaced, and larger than the body text: the modifier symbols are small in most fonts.
    QFont titleFont = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    titleFont.setPointSizeF(font().pointSizeF() * 1.3);
    titleFont.setWeight(QFont::Medium);
    m_title->setFont(titleFont);
    m_title->setTextInteractionFlags(Qt::NoTextInteraction);
    QFont caption = font();
    caption.setPointSizeF(caption.pointSizeF() * 0.85);
    for (QLabel *label : {m_message, m_error}) {
        label->setFont(caption);
        label->setWordWrap(true);
    }
    m_message->setForegroundRole(QPalette::PlaceholderText);
    QPalette errorPalette = m_error->palette();
    errorPalette.setColor(QPalette::WindowText, QColor(0xFF, 0x3B, 0x30));
    m_error->setPalette(errorPalette);

    auto *row = new QHBoxLayout;
    row->addWidget(m_title);
    row->addStretch();
    row->addWidget(m_button);
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addLayout(row);
    column->addWidget(m_message);
    column->addWidget(m_error);

    connect(m_button, &QPushButton::clicked, this, [this] { m_recorder.toggle(&m_preferences); });
    connect(&m_recorder, &ShortcutRecorder::recordingChanged, this, &ShortcutRecorderWidget::refresh);
    connect(&m_recorder, &ShortcutRecorder::messageChanged, this, &ShortcutRecorderWidget::refresh);
    connect(&m_preferences, &TessaryPreferences::shortcutChanged, this, &ShortcutRecorderWidget::refresh);
    connect(&m_preferences, &TessaryPreferences::shortcutErrorChanged, this, &ShortcutRecorderWidget::refresh);
    connect(&m_preferences, &TessaryPreferences::languageChanged, this, &ShortcutRecorderWidget::refresh);
    refresh();
}

ShortcutRecorder &ShortcutRecorderWidget::recorder()
{
    return m_recorder;
}

void ShortcutRecorderWidget::hideEvent(QHideEvent *event)
{
    m_recorder.stop();
    QWidget::hideEvent(event);
}

void ShortcutRecorderWidget::refresh()
{
    const QString language = m_preferences.language();
    m_title->setText(m_preferences.shortcutTitle());
    m_button->setText(m_recorder.isRecording() ? tessaryLocalized(u"取消录制"_s, language)
                                               : tessaryLocalized(u"录制快捷键"_s, language));
    m_message->setText(tessaryLocalized(m_recorder.message(), language));
    m_message->setVisible(!m_recorder.message().isEmpty());
    m_error->setText(tessaryLocalized(m_preferences.shortcutError(), language));
    m_error->setVisible(!m_preferences.shortcutError().isEmpty());
}

} // namespace Tessary
