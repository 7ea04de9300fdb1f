#include "updater/UpdaterCopy.h"

#include <atomic>

#include "updater/NativeBundle.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

struct Row
{
    QString key;
    QString traditionalChinese;
    QString english;
};

// One row per text the updater shows; the key is the Simplified Chinese text.
const QList<Row> &rows()
{
    static const QList<Row> table{
        {u"版本 %1（%2）"_s, u"版本 %1（%2）"_s, u"Version %1 (%2)"_s},
        {u"开发版不自动更新"_s, u"開發版不會自動更新"_s, u"Development builds do not update automatically"_s},
        {u"自动提示新版已开启"_s, u"已開啟自動提示新版本"_s, u"Automatic update checks are on"_s},
        {u"自动提示新版已关闭"_s, u"已關閉自動提示新版本"_s, u"Automatic update checks are off"_s},
        {u"正在检查更新…"_s, u"正在檢查更新…"_s, u"Checking for updates…"_s},
        {u"已经是最新版本"_s, u"目前已是最新版本"_s, u"You're up to date"_s},
        {u"发现新版本 %1"_s, u"發現新版本 %1"_s, u"Version %1 is available"_s},
        {u"正在下载 %1…"_s, u"正在下載 %1…"_s, u"Downloading %1…"_s},
        {u"%1 已下载，等待重启"_s, u"%1 已下載，等待重新啟動"_s, u"%1 downloaded; restart to install"_s},
        {u"下载更新"_s, u"下載更新"_s, u"Download Update"_s},
        {u"重启并更新"_s, u"重新啟動並更新"_s, u"Restart and Update"_s},
        {u"检查更新"_s, u"檢查更新"_s, u"Check for Updates"_s},
        {u"开发版不检查正式更新。"_s, u"開發版不檢查正式更新。"_s,
         u"Development builds do not check for production updates."_s},
        {u"此副本由系统的软件包管理器更新"_s, u"此副本由系統的套件管理程式更新"_s,
         u"This copy is updated by the system's package manager"_s},
        {u"此副本由系统的软件包管理器更新，请通过它获取新版本。"_s,
         u"此副本由系統的套件管理程式更新，請透過它取得新版本。"_s,
         u"This copy is updated by the system's package manager. Get new versions through it."_s},
        {u"已安装 %1 %2（%3）：%4"_s, u"已安裝 %1 %2（%3）：%4"_s, u"Installed %1 %2 (%3) in %4"_s},
        {u"安装失败：%1"_s, u"安裝失敗：%1"_s, u"Installation failed: %1"_s},
        {u"无法写入启动器项：%1"_s, u"無法寫入啟動器項目：%1"_s, u"Could not write the launcher entry: %1"_s},
        {u"%1 已经是最新版本。"_s, u"%1 已是最新版本。"_s, u"%1 is up to date."_s},
        {u"检查更新失败：%1"_s, u"檢查更新失敗：%1"_s, u"Update check failed: %1"_s},
        {u"%1 %2 可更新"_s, u"%1 %2 可更新"_s, u"%1 %2 is available"_s},
        {u"可以现在下载。下载并校验完成后，应用会询问是否重启完成更新。"_s,
         u"可以立即下載。完成下載與驗證後，App 會詢問是否重新啟動以完成更新。"_s,
         u"You can download it now. After verification, the app will ask to restart and finish the update."_s},
        {u"稍后"_s, u"稍後"_s, u"Later"_s},
        {u"下载更新失败：%1"_s, u"下載更新失敗：%1"_s, u"Update download failed: %1"_s},
        {u"%1 %2 已准备好"_s, u"%1 %2 已準備好"_s, u"%1 %2 is ready"_s},
        {u"重启应用即可完成更新。"_s, u"重新啟動 App 即可完成更新。"_s, u"Restart the app to finish updating."_s},
        {u"无法启动更新：%1"_s, u"無法啟動更新：%1"_s, u"Unable to start the update: %1"_s},
        {u"好"_s, u"好"_s, u"OK"_s},
        {u"更新包已损坏，请重新下载。"_s, u"更新套件已損毀，請重新下載。"_s,
         u"The update archive is damaged. Download it again."_s},
        {u"更新包未通过开发者签名或公证校验。"_s, u"更新套件未通過開發者簽章或公證驗證。"_s,
         u"The update failed developer signature or notarization verification."_s},
        // On Linux the application lives in its install folder (normally ~/.local/opt), not in "Applications".
        {u"无法替换当前应用，请确认应用位于“应用程序”文件夹且当前用户有写入权限。"_s,
         u"無法取代目前的 App，請確認 App 位於安裝資料夾，且目前使用者具有寫入權限。"_s,
         u"The app could not be replaced. Make sure it is in its install folder and your account can write to it."_s},
        {u"更新清单版本不受支持。"_s, u"不支援此更新清單版本。"_s, u"This update manifest version is not supported."_s},
        {u"更新包不属于当前应用。"_s, u"更新套件不屬於目前的 App。"_s,
         u"This update does not belong to the current app."_s},
        {u"更新版本信息无效。"_s, u"更新版本資訊無效。"_s, u"The update version is invalid."_s},
        {u"更新下载地址无效。"_s, u"更新下載位址無效。"_s, u"The update download address is invalid."_s},
        {u"更新包校验值无效。"_s, u"更新套件檢查碼無效。"_s, u"The update checksum is invalid."_s},
        // Failures of the system, in words of our own: Qt's and the C library's are English only.
        {u"找不到更新服务器，请检查网络连接。"_s, u"找不到更新伺服器，請檢查網路連線。"_s,
         u"The update server could not be found. Check your network connection."_s},
        {u"无法连接更新服务器，请检查网络连接。"_s, u"無法連線到更新伺服器，請檢查網路連線。"_s,
         u"Could not connect to the update server. Check your network connection."_s},
        {u"更新服务器意外断开了连接。"_s, u"更新伺服器意外中斷了連線。"_s,
         u"The update server closed the connection unexpectedly."_s},
        {u"更新服务器长时间没有响应。"_s, u"更新伺服器長時間沒有回應。"_s,
         u"The update server did not answer in time."_s},
        {u"无法与更新服务器建立安全连接。"_s, u"無法與更新伺服器建立安全連線。"_s,
         u"Could not set up a secure connection to the update server."_s},
        {u"无法通过代理服务器连接更新服务器，请检查代理设置。"_s,
         u"無法透過代理伺服器連線到更新伺服器，請檢查代理設定。"_s,
         u"Could not reach the update server through the proxy server. Check the proxy settings."_s},
        {u"连接更新服务器时出现网络错误（代码 %1）。"_s, u"連線到更新伺服器時發生網路錯誤（代碼 %1）。"_s,
         u"A network error occurred while contacting the update server (code %1)."_s},
        {u"更新服务器返回了无效的响应（HTTP %1）。"_s, u"更新伺服器傳回了無效的回應（HTTP %1）。"_s,
         u"The update server returned an invalid response (HTTP %1)."_s},
        {u"更新服务器发送的数据超过 %1 字节。"_s, u"更新伺服器傳送的資料超過 %1 位元組。"_s,
         u"The update server sent more than %1 bytes."_s},
        {u"更新清单被重定向到不属于本应用的服务器。"_s, u"更新清單被重新導向到不屬於本 App 的伺服器。"_s,
         u"The update manifest was redirected to a server that is not ours."_s},
        {u"更新清单无法读取。"_s, u"無法讀取更新清單。"_s, u"The update manifest could not be read."_s},
        {u"找不到更新包“%1”。"_s, u"找不到更新套件「%1」。"_s, u"The update archive “%1” could not be found."_s},
        {u"没有读取更新包“%1”的权限。"_s, u"沒有讀取更新套件「%1」的權限。"_s,
         u"No permission to read the update archive “%1”."_s},
        {u"无法读取更新包“%1”。"_s, u"無法讀取更新套件「%1」。"_s, u"The update archive “%1” could not be read."_s},
        {u"无法创建文件夹“%1”。"_s, u"無法建立資料夾「%1」。"_s, u"The folder “%1” could not be created."_s},
        {u"无法写入文件“%1”。"_s, u"無法寫入檔案「%1」。"_s, u"The file “%1” could not be written."_s},
        {u"无法运行“%1”。"_s, u"無法執行「%1」。"_s, u"“%1” could not be run."_s},
        {u"无法启动更新助手“%1”。"_s, u"無法啟動更新輔助程式「%1」。"_s,
         u"The update helper “%1” could not be started."_s},
        {u"“%1”已存在。"_s, u"「%1」已存在。"_s, u"“%1” already exists."_s},
        {u"无法移动“%1”。"_s, u"無法移動「%1」。"_s, u"“%1” could not be moved."_s},
        {u"无法复制“%1”。"_s, u"無法拷貝「%1」。"_s, u"“%1” could not be copied."_s},
    };
    return table;
}

} // namespace

const QHash<QString, QString> &updaterEnglish()
{
    // Function-local statics are built once, thread-safely, on first use.
    static const QHash<QString, QString> table = [] {
        QHash<QString, QString> result;
        for (const Row &row : rows()) {
            result.insert(row.key, row.english);
        }
        return result;
    }();
    return table;
}

const QHash<QString, QString> &updaterTraditionalChinese()
{
    static const QHash<QString, QString> table = [] {
        QHash<QString, QString> result;
        for (const Row &row : rows()) {
            result.insert(row.key, row.traditionalChinese);
        }
        return result;
    }();
    return table;
}

UpdaterLanguage updaterLanguage(bool bundleHasLocalizations, const QStringList &preferredLanguages)
{
    if (!bundleHasLocalizations) {
        return UpdaterLanguage::English;
    }
    return resolveInterfaceLanguage(u"system"_s, preferredLanguages);
}

namespace {

// -1 while nothing is chosen; otherwise an UpdaterLanguage.
std::atomic<int> chosenLanguage{-1};

} // namespace

void setUpdaterLanguage(UpdaterLanguage language)
{
    chosenLanguage.store(int(language));
}

UpdaterLanguage currentUpdaterLanguage()
{
    if (const int chosen = chosenLanguage.load(); chosen >= 0) {
        return UpdaterLanguage(chosen);
    }
    const std::optional<NativeBundle> &bundle = NativeBundle::main();
    return updaterLanguage(bundle && bundle->hasLocalizations(), systemPreferredLanguages());
}

QString updaterCopy(const QString &text, UpdaterLanguage language)
{
    switch (language) {
    case UpdaterLanguage::SimplifiedChinese:
        return text;
    case UpdaterLanguage::English:
        return updaterEnglish().value(text, text);
    case UpdaterLanguage::TraditionalChinese:
        return updaterTraditionalChinese().value(text, text);
    }
    return text;
}

QString updaterCopy(const QString &text)
{
    return updaterCopy(text, currentUpdaterLanguage());
}

} // namespace Tessary
