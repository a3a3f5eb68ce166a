#pragma once

#include <string>
#include <utility>
#include <variant>

namespace Varkle
{

/// Tells why something failed, for people: one or more whole sentences. `machine` is true when the input was right and
/// the machine could not do it (no GPU adapter, a full disk); programs turn that into another exit status.
struct Error
{
    std::string message;
    bool machine = false;
};

/// Holds either a value or the error that stood in its way. Ask `if (result)` before `*result`.
template<class T>
class Result
{
public:
    Result(T value) : state(std::in_place_index<0>, std::move(value)) {}
    Result(Error error) : state(std::in_place_index<1>, std::move(error)) {}

    explicit operator bool() const { return state.index() == 0; }

    T& operator*() { return std::get<0>(state); }
    const T& operator*() const { return std::get<0>(state); }
    T* operator->() { return &std::get<0>(state); }
    const T* operator->() const { return &std::get<0>(state); }

    const Error& GetError() const { return std::get<1>(state); }

private:
    std::variant<T, Error> state;
};

/// The result of an action that has nothing to hand back.
using Status = Result<std::monostate>;

inline Status Ok()
{
    return std::monostate{};
}

} // namespace Varkle
