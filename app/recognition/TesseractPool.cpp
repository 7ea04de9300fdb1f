#include "app/recognition/TesseractPool.h"

#include <clocale>
#include <cstdlib>

#include <tesseract/baseapi.h>

#include <QFile>

namespace Tessary {

namespace {

constexpr auto debianDataPath = "/usr/share/tesseract-ocr/5/tessdata";

TesseractPool::Engine createEngine(const QByteArray &languages)
{
    TesseractPool::Engine api(new tesseract::TessBaseAPI);
    // Tesseract writes progress and warnings ("Estimating resolution…") to stderr unless told otherwise.
    api->SetVariable("debug_file", "/dev/null");

    const QByteArray path = QFile::encodeName(TesseractPool::dataPath());
    // Model parameters are parsed with the C library's number format; a locale with decimal commas breaks them.
    const std::string previousNumeric = std::setlocale(LC_NUMERIC, nullptr);
    std::setlocale(LC_NUMERIC, "C");
    const int status = api->Init(path.constData(), languages.constData(), tesseract::OEM_LSTM_ONLY);
    std::setlocale(LC_NUMERIC, previousNumeric.c_str());
    if (status != 0) {
        return {};
    }
    api->SetPageSegMode(tesseract::PSM_SINGLE_BLOCK);
    api->SetVariable("preserve_interword_spaces", "1");
    // Dark screens are inverted before recognition; the engine need not retry every unsure line inverted.
    api->SetVariable("tessedit_do_invert", "0");
    return api;
}

} // namespace

void TesseractPool::Deleter::operator()(tesseract::TessBaseAPI *api) const
{
    if (api != nullptr) {
        api->End();
        delete api;
    }
}

TesseractPool::Lease::Lease(TesseractPool *pool, QByteArray languages, Engine engine)
    : m_pool(pool)
    , m_languages(std::move(languages))
    , m_engine(std::move(engine))
{
}

TesseractPool::Lease::~Lease()
{
    if (m_pool != nullptr && m_engine != nullptr) {
        m_pool->giveBack(m_languages, std::move(m_engine));
    }
}

QString TesseractPool::dataPath()
{
    const QString prefix = qEnvironmentVariable("TESSDATA_PREFIX");
    return prefix.isEmpty() ? QString::fromLatin1(debianDataPath) : prefix;
}

bool TesseractPool::hasModels(const QByteArray &languages)
{
    const QString folder = dataPath();
    for (const QByteArray &language : languages.split('+')) {
        if (!QFile::exists(folder + u'/' + QString::fromLatin1(language) + u".traineddata")) {
            return false;
        }
    }
    return true;
}

TesseractPool &TesseractPool::shared()
{
    static TesseractPool pool;
    return pool;
}

TesseractPool::Lease TesseractPool::borrow(const QByteArray &languages)
{
    {
        std::lock_guard lock(m_mutex);
        for (Stack &stack : m_stacks) {
            if (stack.languages == languages && !stack.idle.empty()) {
                Engine engine = std::move(stack.idle.back());
                stack.idle.pop_back();
                return Lease(this, languages, std::move(engine));
            }
        }
    }
    // Loading takes a while; other recognitions must not wait for it.
    Engine engine = createEngine(languages);
    if (engine == nullptr) {
        return Lease(nullptr, languages, {});
    }
    return Lease(this, languages, std::move(engine));
}

void TesseractPool::giveBack(const QByteArray &languages, Engine engine)
{
    engine->Clear();
    std::lock_guard lock(m_mutex);
    for (Stack &stack : m_stacks) {
        if (stack.languages == languages) {
            stack.idle.push_back(std::move(engine));
            return;
        }
    }
    Stack stack {languages, {}};
    stack.idle.push_back(std::move(engine));
    m_stacks.push_back(std::move(stack));
}

} // namespace Tessary
