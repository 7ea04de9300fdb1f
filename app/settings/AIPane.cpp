#include "app/settings/AIPane.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/TessaryPreferences.h"
#include "app/localization/FailureMessages.h"
#include "app/localization/TessaryLocalized.h"
#include "app/recognition/AIKeychain.h"
#include "app/settings/SettingsSection.h"
#include "app/settings/SettingsTexts.h"
#include "core/TextPolisher.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

/** Keeps a line edit and a preference in step without fighting over the cursor while the user types. */
void bindLineEdit(QLineEdit *edit, TessaryPreferences &preferences, QString (TessaryPreferences::*read)() const,
                  void (TessaryPreferences::*write)(const QString &), void (TessaryPreferences::*changed)())
{
    edit->setText((preferences.*read)());
    QObject::connect(edit, &QLineEdit::textEdited, &preferences,
                     [&preferences, write](const QString &text) { (preferences.*write)(text); });
    QObject::connect(&preferences, changed, edit, [edit, &preferences, read] {
        if (edit->text() != (preferences.*read)()) {
            edit->setText((preferences.*read)());
        }
    });
}

void showIfNotEmpty(QLabel *label, const QString &text)
{
    label->setText(text);
    label->setVisible(!text.isEmpty());
}

} // namespace

AIPane::AIPane(TessaryPreferences &preferences, SettingsTexts &texts, QNetworkAccessManager &session, QWidget *parent)
    : QWidget(parent)
    , m_preferences(preferences)
    , m_texts(texts)
    , m_session(session)
{
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(12);
    layout->addWidget(serviceSection());
    layout->addWidget(promptSection(), 1);
}

AIPane::~AIPane()
{
    delete m_testReply;
}

QWidget *AIPane::serviceSection()
{
    auto *section = new SettingsSection(m_texts, u"OpenAI 兼容服务"_s, this);
    auto *form = new QFormLayout;
    auto *baseURL = new QLineEdit(section);
    baseURL->setObjectName(u"aiBaseURL"_s);
    bindLineEdit(baseURL, m_preferences, &TessaryPreferences::aiBaseURL, &TessaryPreferences::setAiBaseURL,
                 &TessaryPreferences::aiBaseURLChanged);
    auto *model = new QLineEdit(section);
    model->setObjectName(u"aiModel"_s);
    bindLineEdit(model, m_preferences, &TessaryPreferences::aiModel, &TessaryPreferences::setAiModel,
                 &TessaryPreferences::aiModelChanged);
    auto *baseURLLabel = new QLabel(section);
    auto *modelLabel = new QLabel(section);
    m_texts.bind(baseURLLabel, u"API 根地址"_s);
    m_texts.bind(modelLabel, u"模型"_s);
    form->addRow(baseURLLabel, baseURL);
    form->addRow(modelLabel, model);
    section->addLayout(form);
    section->addCaption(u"对已知支持的模型，润色请求会自动关闭思考以缩短等待。"_s);

    m_keyDraft = new QLineEdit(section);
    m_keyDraft->setObjectName(u"keyDraft"_s);
    m_keyDraft->setEchoMode(QLineEdit::Password);
    // The key must not end up in the clipboard history or an input method's dictionary.
    m_keyDraft->setInputMethodHints(Qt::ImhHiddenText | Qt::ImhSensitiveData | Qt::ImhNoPredictiveText);
    section->addWidget(m_keyDraft);
    m_keyError = SettingsSection::errorLabel(section);
    section->addWidget(m_keyError);

    auto *buttons = new QHBoxLayout;
    m_saveKey = new QPushButton(section);
    m_saveKey->setObjectName(u"saveKey"_s);
    m_texts.bind(m_saveKey, u"保存密钥"_s);
    m_deleteKey = new QPushButton(section);
    m_deleteKey->setObjectName(u"deleteKey"_s);
    m_texts.bind(m_deleteKey, u"删除密钥"_s);
    m_keyStored = SettingsSection::captionLabel(section);
    m_texts.bind(m_keyStored, u"已存储在本机钥匙串"_s);
    m_test = new QPushButton(section);
    m_test->setObjectName(u"testConnection"_s);
    buttons->addWidget(m_saveKey);
    buttons->addWidget(m_deleteKey);
    buttons->addWidget(m_keyStored);
    buttons->addStretch(1);
    buttons->addWidget(m_test);
    section->addLayout(buttons);
    m_testStatus = new QLabel(section);
    m_testStatus->setWordWrap(true);
    m_testStatus->setObjectName(u"testStatus"_s);
    m_testStatus->setTextInteractionFlags(Qt::TextSelectableByMouse);
    section->addWidget(m_testStatus);

    connect(m_keyDraft, &QLineEdit::textChanged, this, &AIPane::refreshKeyRow);
    connect(m_saveKey, &QPushButton::clicked, this, [this] {
        m_preferences.saveKey(m_keyDraft->text());
        m_keyDraft->clear();
    });
    connect(m_deleteKey, &QPushButton::clicked, this, [this] { m_preferences.saveKey(QString()); });
    connect(m_test, &QPushButton::clicked, this, &AIPane::testConnection);
    connect(&m_preferences, &TessaryPreferences::keySavedChanged, this, &AIPane::refreshKeyRow);
    // A result said something about the settings it was made with; once they change it is stale.
    for (auto changed : {&TessaryPreferences::aiBaseURLChanged, &TessaryPreferences::aiModelChanged,
                         &TessaryPreferences::keySavedChanged}) {
        connect(&m_preferences, changed, this, &AIPane::forgetTestResult);
    }
    connect(m_saveKey, &QPushButton::clicked, this, &AIPane::forgetTestResult);
    connect(&m_preferences, &TessaryPreferences::keyErrorChanged, this, &AIPane::refreshKeyRow);
    m_texts.bind([this] {
        refreshKeyRow();
        setTestStatus(m_testStatusKey, m_testStatusArgument);
    });
    return section;
}

QWidget *AIPane::promptSection()
{
    auto *section = new SettingsSection(m_texts, u"润色提示词"_s, this);
    auto *prompt = new QPlainTextEdit(section);
    prompt->setObjectName(u"polishPrompt"_s);
    prompt->setMinimumHeight(130);
    prompt->setPlainText(m_preferences.polishPrompt());
    connect(prompt, &QPlainTextEdit::textChanged, this, [this, prompt] {
        if (prompt->toPlainText() != m_preferences.polishPrompt()) {
            m_preferences.setPolishPrompt(prompt->toPlainText());
        }
    });
    // The prompt follows the language when it is a built-in one, or changes through the configuration sync.
    connect(&m_preferences, &TessaryPreferences::polishPromptChanged, prompt, [this, prompt] {
        if (prompt->toPlainText() != m_preferences.polishPrompt()) {
            const QSignalBlocker blocker(prompt);
            prompt->setPlainText(m_preferences.polishPrompt());
        }
    });
    section->rows()->addWidget(prompt, 1);
    section->addCaption(
        u"从菜单选择“选区识字并 AI 润色”时，识别文字会发送到配置的 AI 服务；普通识字始终在本机完成。"_s);
    return section;
}

void AIPane::refreshKeyRow()
{
    const bool saved = m_preferences.keySaved();
    m_keyDraft->setPlaceholderText(m_texts.text(saved ? u"已保存 API Key；输入新值可替换"_s : u"API Key"_s));
    showIfNotEmpty(m_keyError, tessaryLocalizedMessage(m_preferences.keyError(), m_preferences.language()));
    m_saveKey->setEnabled(!m_keyDraft->text().trimmed().isEmpty());
    m_deleteKey->setVisible(saved);
    m_keyStored->setVisible(saved);
    const bool testing = isTesting();
    m_test->setText(m_texts.text(testing ? u"测试中…"_s : u"测试连接"_s));
    m_test->setEnabled(saved && !testing);
}

void AIPane::setTestStatus(const QString &key, const QString &argument)
{
    m_testStatusKey = key;
    m_testStatusArgument = argument;
    if (key.isEmpty()) {
        showIfNotEmpty(m_testStatus, QString());
        return;
    }
    const QString text = m_texts.text(key);
    showIfNotEmpty(
        m_testStatus,
        argument.isEmpty() ? text : tessaryFormat(text, tessaryLocalizedMessage(argument, m_preferences.language())));
    SettingsSection::setErrorStyle(m_testStatus, key != u"连接成功"_s);
}

void AIPane::forgetTestResult()
{
    if (isTesting()) {
        delete m_testReply;
        refreshKeyRow();
    }
    setTestStatus({});
}

bool AIPane::isTesting() const
{
    return m_testReply != nullptr;
}

QString AIPane::testStatus() const
{
    return m_testStatus->text();
}

void AIPane::testConnection()
{
    if (isTesting()) {
        return;
    }
    setTestStatus({});
    const auto key = AIKeychain::read();
    if (!key) {
        if (key.error().status == KeychainError::ItemNotFound) {
            setTestStatus(u"请先保存 API Key。"_s);
        } else {
            setTestStatus(u"连接失败：%@"_s, key.error().description);
        }
        refreshKeyRow();
        return;
    }
    m_testReply = TextPolisher::polish(u"测试"_s, m_preferences.aiBaseURL(), m_preferences.aiModel(),
                                       u"请只回复：连接成功"_s, *key, m_session);
    connect(m_testReply, &PolishReply::finished, this, [this](const PolishResult &result) {
        m_testReply->deleteLater();
        m_testReply = nullptr;
        if (result) {
            setTestStatus(u"连接成功"_s);
        } else {
            setTestStatus(u"连接失败：%@"_s, FailureMessages::polish(result.error()));
        }
        refreshKeyRow();
    });
    refreshKeyRow();
}

} // namespace Tessary
