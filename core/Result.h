#pragma once

#include <type_traits>
#include <utility>
#include <optional>
#include <variant>

namespace Tessary {

/** Wraps an error value so that Result can be built from it unambiguously. */
template <typename E> struct Unexpected
{
    E error;
};

template <typename E> Unexpected<std::decay_t<E>> unexpected(E &&error)
{
    return {std::forward<E>(error)};
}

/**
 * Either a value or an error, in the spirit of std::expected (which C++20 lacks).
 * Result<void, E> holds only the error or nothing.
 */
template <typename T, typename E> class [[nodiscard]] Result
{
public:
    Result(const T &value)
        : m_data(std::in_place_index<0>, value)
    {}
    Result(T &&value)
        : m_data(std::in_place_index<0>, std::move(value))
    {}
    template <typename G>
    Result(Unexpected<G> error)
        : m_data(std::in_place_index<1>, std::move(error.error))
    {}

    bool hasValue() const { return m_data.index() == 0; }
    explicit operator bool() const { return hasValue(); }

    T &value() & { return std::get<0>(m_data); }
    const T &value() const & { return std::get<0>(m_data); }
    T &&value() && { return std::get<0>(std::move(m_data)); }
    T &operator*() & { return value(); }
    const T &operator*() const & { return value(); }
    T *operator->() { return &value(); }
    const T *operator->() const { return &value(); }

    const E &error() const & { return std::get<1>(m_data); }
    E &&error() && { return std::get<1>(std::move(m_data)); }

    template <typename U> T valueOr(U &&fallback) const &
    {
        return hasValue() ? value() : static_cast<T>(std::forward<U>(fallback));
    }

private:
    std::variant<T, E> m_data;
};

template <typename E> class [[nodiscard]] Result<void, E>
{
public:
    Result() = default;
    template <typename G>
    Result(Unexpected<G> error)
        : m_error(std::in_place, std::move(error.error))
    {}

    bool hasValue() const { return !m_error.has_value(); }
    explicit operator bool() const { return hasValue(); }
    const E &error() const & { return *m_error; }

private:
    std::optional<E> m_error;
};

} // namespace Tessary
