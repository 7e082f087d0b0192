#pragma once

#include <functional>
#include <string>

// A table that sets the library beside the bare parts it is made of. Both sides of a row run in one
// program and take turns of about a millisecond; the figure is the median, over some thousand turns,
// of the ratio of two neighbouring ones. So it says the same on a slow machine and on a busy one.
class Comparison
{
public:
    using Work = std::function<void()>;

    // Takes the program's arguments: with a word, only the rows are measured whose names contain it; a
    // number behind it is the seconds that a row takes.
    Comparison(int argc, char **argv, const char *title);

    // Measures work that never waits, by the thread's processor time, and prints its row. Both sides
    // must do the same; a turn is as many calls as take a millisecond. The goal is what the library's
    // time divided by the bare parts' should be at most.
    void add(const std::string &name, double goal, const Work &library, const Work &bare) const;
    // Measures work that waits for another thread or process, by the clock, and prints the thread's
    // processor time in a second row. A turn is one call; `settle` runs after it, unmeasured, so that
    // no side does the other's cleaning up.
    void addWaiting(const std::string &name, double goal, const Work &library, const Work &bare,
                    const Work &settle) const;

    static constexpr double NO_GOAL = 0;

private:
    bool isWanted(const std::string &name) const { return name.find(m_word) != std::string::npos; }

    std::string m_word;
    double m_secondsARow = 3;
};

// Keeps the compiler from leaving out what makes the result.
template<typename Result> void doNotOptimize(const Result &result)
{
    asm volatile("" : : "r"(&result) : "memory");
}
