#pragma once

#include <QPointer>
#include <QWidget>

class QLabel;
class QLineEdit;
class QNetworkAccessManager;
class QPlainTextEdit;
class QPushButton;

namespace Tessary {

class PolishReply;
class SettingsTexts;
class TessaryPreferences;

/**
 * The AI polishing pane: the OpenAI-compatible service (base URL, model, key) with a connection test, and the
 * polish prompt. Every edit is assigned to the preferences at once; the key goes to the keyring only when saved.
 */
class AIPane final : public QWidget
{
    Q_OBJECT
public:
    AIPane(TessaryPreferences &preferences, SettingsTexts &texts, QNetworkAccessManager &session,
           QWidget *parent = nullptr);
    ~AIPane() override;

    /** The connection test: a tiny request with the saved key and the current settings; the outcome is shown below. */
    void testConnection();
    bool isTesting() const;
    QString testStatus() const;

private:
    QWidget *serviceSection();
    QWidget *promptSection();
    void refreshKeyRow();
    /** key: a message key (a format when argument is given); argument: a message, shown in the language too. */
    void setTestStatus(const QString &key, const QString &argument = {});
    /** The settings changed: a running test is dropped and an old result goes. */
    void forgetTestResult();

    TessaryPreferences &m_preferences;
    SettingsTexts &m_texts;
    QNetworkAccessManager &m_session;
    QLineEdit *m_keyDraft = nullptr;
    QLabel *m_keyError = nullptr;
    QPushButton *m_saveKey = nullptr;
    QPushButton *m_deleteKey = nullptr;
    QLabel *m_keyStored = nullptr;
    QPushButton *m_test = nullptr;
    QLabel *m_testStatus = nullptr;
    QString m_testStatusKey;
    QString m_testStatusArgument;
    QPointer<PolishReply> m_testReply;
};

} // namespace Tessary
