#include "Audio/Filters/CRanmar.h"

#include <type_traits>

namespace kel
{

static_assert(std::is_trivially_copyable<CRanmar>::value,
              "CRanmar lives inside pool buffers and must stay a plain value");
static_assert(std::is_standard_layout<CRanmar>::value, "CRanmar must stay a plain value");

void CRanmar::seed(int ij, int kl)
{
    // Negative seeds would make the C++ remainder negative and break the lattice walk below.
    if (ij < 0)
        ij = -ij;
    if (kl < 0)
        kl = -kl;

    int i = (ij / 177) % 177 + 2;
    int j = ij % 177 + 2;
    int k = (kl / 169) % 178 + 1;
    int l = kl % 169;
    for (int word = 0; word < kWords; ++word)
    {
        double s = 0.0;
        double t = 0.5;
        for (int bit = 0; bit < 24; ++bit)
        {
            const int m = (((i * j) % 179) * k) % 179;
            i = j;
            j = k;
            k = m;
            l = (53 * l + 1) % 169;
            if ((l * m) % 64 >= 32)
                s += t;
            t *= 0.5;
        }
        u[word] = s;
    }
    c = 362436.0 / 16777216.0;
    cd = 7654321.0 / 16777216.0;
    cm = 16777213.0 / 16777216.0;
    i97 = 97;
    j97 = 33;
}

double CRanmar::next()
{
    double x = u[i97 - 1] - u[j97 - 1];
    if (x <= 0.0)
        x += 1.0;
    u[i97 - 1] = x;
    if (--i97 == 0)
        i97 = kWords;
    if (--j97 == 0)
        j97 = kWords;
    c -= cd;
    if (c < 0.0)
        c += cm;
    x -= c;
    if (x < 0.0)
        x += 1.0;
    return x;
}

} // namespace kel
