#include "app/recognition/TesseractPool.h"

#include <clocale>
#include <cstdlib>
#include <mutex>

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
    // Model parameters are parsed with the C library's number format; a locale with decimal commas breaks them. The
    // locale belongs to the process and changing it races with every thread that reads it, so it is set once, before
    // the first engine, and left so: the rest of the application formats numbers with Qt's locale, not the C library's.
    static std::once_flag numericFormat;
    std::call_once(numericFormat, [] { std::setlocale(LC_NUMERIC, "C"); });
    const int status = api->Init(path.constData(), languages.constData(), tesseract::OEM_LSTM_ONLY);
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
{}

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

TesseractPool::Slot &TesseractPool::slotFor(const QByteArray &languages)
{
    for (const auto &slot : m_slots) {
        if (slot->languages == languages) {
            return *slot;
        }
    }
    m_slots.push_back(std::make_unique<Slot>(Slot{languages, {}, false}));
    return *m_slots.back();
}

TesseractPool::Lease TesseractPool::borrow(const QByteArray &languages)
{
    std::unique_lock lock(m_mutex);
    Slot &slot = slotFor(languages);
    m_returned.wait(lock, [&slot] { return !slot.taken; });
    slot.taken = true;
    if (slot.idle != nullptr) {
        return Lease(this, languages, std::move(slot.idle));
    }
    // Loading takes a while; recognitions with other models must not wait for it.
    lock.unlock();
    Engine engine = createEngine(languages);
    if (engine == nullptr) {
        lock.lock();
        slot.taken = false;
        m_returned.notify_all();
        return Lease(nullptr, languages, {});
    }
    return Lease(this, languages, std::move(engine));
}

void TesseractPool::releaseIdle()
{
    std::vector<Engine> released;
    {
        std::lock_guard lock(m_mutex);
        for (const auto &slot : m_slots) {
            if (slot->idle != nullptr) {
                released.push_back(std::move(slot->idle));
            }
        }
    }
    // Ending an engine takes a moment; borrowers need not wait for it.
}

void TesseractPool::giveBack(const QByteArray &languages, Engine engine)
{
    engine->Clear();
    {
        std::lock_guard lock(m_mutex);
        Slot &slot = slotFor(languages);
        slot.idle = std::move(engine);
        slot.taken = false;
    }
    m_returned.notify_all();
}

} // namespace Tessary
