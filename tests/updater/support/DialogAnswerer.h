#pragma once

#include <QList>
#include <QMessageBox>
#include <QObject>
#include <QString>
#include <QTimer>

namespace Tessary::Test {

/**
 * Answers the updater's modal dialogs as a user would: it watches for the active modal QMessageBox and clicks the
 * button the test chose in advance (0 = first). Each dialog it saw is recorded.
 */
class DialogAnswerer final : public QObject
{
    Q_OBJECT
public:
    struct Dialog
    {
        QString text;
        QString informativeText;
        QStringList buttons;
        QMessageBox::Icon icon;
    };

    explicit DialogAnswerer(QObject *parent = nullptr);

    /** The answers for the next dialogs, in order; once they run out, the last button is clicked. */
    void answer(QList<int> buttons) { m_answers = std::move(buttons); }
    const QList<Dialog> &dialogs() const { return m_dialogs; }
    void clear() { m_dialogs.clear(); }

private:
    void poll();

    QTimer m_timer;
    QList<int> m_answers;
    QList<Dialog> m_dialogs;
};

} // namespace Tessary::Test
