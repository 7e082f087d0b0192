#pragma once

#include <type_traits>

// Functions as tables: one line each, with the complete type under which programs that were built
// against the library call it.
//
//   QVERIFY(has<bool (Class::*)(QString)>(&Class::doLogin));

// Takes the function's address with the type Signature, which does not compile when there is no such
// function (of several of one name the fitting one is taken), and does not link when the library does
// not export it.
template<typename Signature> bool has(Signature function)
{
    Signature volatile taken = function; // keeps the address in the program
    return taken != nullptr;
}

// The same for a function that the class itself must declare. has() would also take the one of the
// base class, whose type converts.
template<typename Signature, typename Actual> bool declares(Actual function)
{
    static_assert(std::is_same_v<Signature, Actual>, "the function has another type");
    return has<Signature>(function);
}
