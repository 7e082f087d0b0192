#pragma once

#include <new>

// The result of an operation that gives true or false, and false when there is no memory for it: the
// toolkit throws when it is refused memory, or asked for more of it than its containers hold.
template<typename Operation> bool falseWithoutMemory(const Operation &operation)
{
    try {
        return operation();
    } catch (const std::bad_alloc &) {
        return false;
    }
}
