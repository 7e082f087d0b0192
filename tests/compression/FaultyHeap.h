#pragma once

#include <QtCore/qglobal.h>

#include <cstddef>
#include <cstdlib>
#include <limits>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define FAULTY_HEAP_IS_THE_CODECS 1
#endif

// A heap that refuses memory when a test says so. For one source of a test program.
//
// The program's own heap functions stand before the C library's, so that memory is refused to the toolkit, to
// the libraries and to the codec alike. The sanitizers replace those themselves: with them the program's own
// take the place of the library's MyAlloc and MyFree, through which the codec's blocks and decoders come, and
// the toolkit and zlib get all that they ask for.
struct FaultyHeap {
    static constexpr int ANY_NUMBER = std::numeric_limits<int>::max();
    static constexpr std::size_t ANY_SIZE = std::numeric_limits<std::size_t>::max();

    int granted = ANY_NUMBER;       // so many pieces are granted,
    int refusing = ANY_NUMBER;      // then so many refused, then all are granted
    std::size_t largest = ANY_SIZE; // what is larger is refused in any case
    int refused = 0;
    long live = 0; // pieces that have been granted and not given back

    bool refuses(std::size_t size)
    {
        const bool isRefused = size > largest || (granted <= 0 && refusing > 0);
        if (isRefused) {
            ++refused;
            --refusing;
        } else if (granted > 0 && granted < ANY_NUMBER) {
            --granted;
        }
        return isRefused;
    }
    void *counted(void *address)
    {
        if (address)
            ++live;
        return address;
    }
    void returned(const void *address)
    {
        if (address)
            --live;
    }
    // Refuses the piece with this number alone, counted from 0.
    void refuseOne(int number)
    {
        refused = 0;
        granted = number;
        refusing = 1;
    }
    // Grants everything again.
    void relent()
    {
        granted = ANY_NUMBER;
        refusing = ANY_NUMBER;
        largest = ANY_SIZE;
    }
};

// Of the test's own thread.
static thread_local FaultyHeap heap;

extern "C" {
#ifdef FAULTY_HEAP_IS_THE_CODECS
Q_DECL_EXPORT void *MyAlloc(std::size_t size)
{
    return size == 0 || heap.refuses(size) ? nullptr : heap.counted(std::malloc(size));
}

Q_DECL_EXPORT void MyFree(void *address)
{
    heap.returned(address);
    std::free(address);
}
#else
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *address, std::size_t size);
void __libc_free(void *address);

Q_DECL_EXPORT void *malloc(std::size_t size)
{
    return heap.refuses(size) ? nullptr : heap.counted(__libc_malloc(size));
}

Q_DECL_EXPORT void *calloc(std::size_t count, std::size_t size)
{
    return heap.refuses(count * size) ? nullptr : heap.counted(__libc_calloc(count, size));
}

Q_DECL_EXPORT void *realloc(void *address, std::size_t size)
{
    if (heap.refuses(size))
        return nullptr;
    if (size == 0)
        heap.returned(address);
    void *moved = __libc_realloc(address, size);
    return address ? moved : heap.counted(moved);
}

Q_DECL_EXPORT void free(void *address)
{
    heap.returned(address);
    __libc_free(address);
}
#endif
}
