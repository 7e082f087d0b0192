#include "Small.h"

int Tarvo::seatOf(const Pupil &pupil)
{
    return pupil.seat;
}
