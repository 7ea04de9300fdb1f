#include "app/recognition/RecognitionStop.h"

namespace Tessary {

namespace {

thread_local RecognitionStop *currentStop = nullptr;
constexpr auto noDeadline = RecognitionStop::Clock::time_point::max().time_since_epoch().count();

} // namespace

void RecognitionStop::cancel()
{
    Clock::rep unset = 0;
    m_cancelledAt.compare_exchange_strong(unset, Clock::now().time_since_epoch().count());
    m_cancelled = true;
}

void RecognitionStop::limitTo(Clock::time_point deadline)
{
    const Clock::rep wanted = deadline.time_since_epoch().count();
    Clock::rep set = m_deadline.load();
    while (wanted < set && !m_deadline.compare_exchange_weak(set, wanted)) {
    }
}

void RecognitionStop::postpone(Clock::duration spent)
{
    Clock::rep set = m_deadline.load();
    while (set != noDeadline && spent.count() > 0 && !m_deadline.compare_exchange_weak(set, set + spent.count())) {
    }
}

RecognitionStop::Reason RecognitionStop::reason() const
{
    if (m_cancelled.load()) {
        return Reason::Cancelled;
    }
    if (Clock::now().time_since_epoch().count() >= m_deadline.load()) {
        return Reason::DeadlinePassed;
    }
    return Reason::None;
}

RecognitionStop::Clock::duration RecognitionStop::sinceRequested() const
{
    const Reason why = reason();
    if (why == Reason::None) {
        return Clock::duration::zero();
    }
    const Clock::rep at = why == Reason::Cancelled ? m_cancelledAt.load() : m_deadline.load();
    return Clock::now() - Clock::time_point(Clock::duration(at));
}

RecognitionStop *RecognitionStop::current()
{
    return currentStop;
}

RecognitionStop::Scope::Scope(RecognitionStop *stop)
    : m_previous(currentStop)
{
    currentStop = stop;
}

RecognitionStop::Scope::~Scope()
{
    currentStop = m_previous;
}

} // namespace Tessary
