#pragma once

// How much longer a time may be that is promised for the release build: the sanitizers' build is slower, and
// what it shows is something else.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int SLOWNESS = 10;
#else
constexpr int SLOWNESS = 1;
#endif
