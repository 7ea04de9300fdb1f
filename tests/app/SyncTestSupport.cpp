#include "tests/app/SyncTestSupport.h"

#include <gtest/gtest.h>

#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace Tessary::Test {

namespace {

/** Switches CAP_DAC_OVERRIDE and CAP_DAC_READ_SEARCH on or off in the effective set; false when not possible. */
bool setOverride(bool on)
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3]{};
    if (::syscall(SYS_capget, &header, data) != 0) {
        return false;
    }
    const quint32 bits = (1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH);
    if (on) {
        data[0].effective |= bits & data[0].permitted;
    } else {
        data[0].effective &= ~bits;
    }
    return ::syscall(SYS_capset, &header, data) == 0;
}

} // namespace

void writeFile(const QString &path, const QByteArray &bytes)
{
    ASSERT_TRUE(QDir().mkpath(QFileInfo(path).absolutePath()));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate)) << path.toStdString();
    ASSERT_EQ(file.write(bytes), bytes.size());
}

void deliver(const QString &path, const QByteArray &bytes)
{
    const QFileInfo target(path);
    const QString temporary = target.absolutePath() + u"/.syncthing."_s + target.fileName() + u".tmp"_s;
    writeFile(temporary, bytes);
    ASSERT_EQ(::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(path).constData()), 0);
}

QByteArray configuration(std::initializer_list<std::pair<QString, QJsonValue>> overrides)
{
    QJsonObject object{
        {u"version"_s, 1},
        {u"aiBaseURL"_s, u"https://api.deepseek.com/v1"_s},
        {u"aiModel"_s, u"synced-model"_s},
        {u"polishPrompt"_s, u"Polish."_s},
        {u"hideMenuBarIcon"_s, false},
        {u"shortcut"_s, QJsonObject{{u"keyCode"_s, 19}, {u"modifiers"_s, 4864}, {u"label"_s, u"2"_s}}},
        {u"colorMode"_s, u"system"_s},
        {u"language"_s, u"zh-Hans"_s},
        {u"accentPalette"_s, u"violet"_s},
    };
    for (const auto &[key, value] : overrides) {
        if (value.isUndefined()) {
            object.remove(key);
        } else {
            object.insert(key, value);
        }
    }
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

ReadOnlyFolder::ReadOnlyFolder(const QString &folder)
    : m_folder(folder)
{
    EXPECT_EQ(::chmod(QFile::encodeName(folder).constData(), 0555), 0);
    if (::geteuid() == 0) {
        m_droppedOverride = setOverride(false);
        EXPECT_TRUE(m_droppedOverride) << "cannot make a folder read-only for root";
    }
}

ReadOnlyFolder::~ReadOnlyFolder()
{
    if (m_droppedOverride) {
        setOverride(true);
    }
    ::chmod(QFile::encodeName(m_folder).constData(), 0755);
}

} // namespace Tessary::Test
