#include "app/localization/AIKeyRefusal.h"

#include "app/localization/TessaryLocalized.h"

using namespace Qt::StringLiterals;

namespace Tessary {

QString aiKeyRefusal(ApiKeyFormat::Problem problem, const QString &language)
{
    switch (problem) {
    case ApiKeyFormat::Problem::Missing:
        return tessaryLocalized(u"请输入 API Key。"_s, language);
    case ApiKeyFormat::Problem::TooLong:
        return tessaryFormat(tessaryLocalized(u"API Key 太长（最多 %@ 个字符）。"_s, language),
                             QString::number(ApiKeyFormat::maximumLength));
    case ApiKeyFormat::Problem::NotPrintableAscii:
        return tessaryLocalized(u"API Key 只能包含可打印的 ASCII 字符。"_s, language);
    case ApiKeyFormat::Problem::ContainsWhiteSpace:
        return tessaryLocalized(u"API Key 中间不能有空格。"_s, language);
    }
    return {};
}

} // namespace Tessary
