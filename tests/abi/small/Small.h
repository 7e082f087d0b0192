#pragma once

namespace Tarvo
{

struct Pupil {
    int age;
    int seat;
};

int seatOf(const Pupil &pupil);
bool isQt(int version);

} // namespace Tarvo
