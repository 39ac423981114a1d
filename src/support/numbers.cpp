#include "support/numbers.h"

#include <boost/thread/thread.hpp>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {
char ustr[15][1000];
int ustr_i = 0;
}  // namespace

const char* FormatNum(unsigned long long v)
{
    if (ustr_i > 14) ustr_i = 0;
    char* s = ustr[ustr_i++];
    char digits[32];
    int n = snprintf(digits, sizeof digits, "%llu", v);
    int separators = n / 3 - (n % 3 == 0 ? 1 : 0);
    int out = n + separators;
    s[out] = '\0';
    // Copy from the last digit backwards, a ',' after every third one.
    for (int i = n - 1, count = 0; i >= 0; --i) {
        s[--out] = digits[i];
        if (++count % 3 == 0 && i > 0) s[--out] = ',';
    }
    return s;
}

int MyRound(double x)
{
    double i;
    double f = modf(x, &i);
    return static_cast<int>(f >= 0.5 ? i + 1 : i);
}

namespace {

// 10 to the power k; the usual numbers of decimals come from a table (crossover positions are
// rounded millions of times).
double PowerOfTen(int k)
{
    static const double table[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10};
    return (k >= 0 && k <= 10) ? table[k] : pow(10.0, k);
}

}  // namespace

double RoundDouble(double x, short digits)
{
    double p = PowerOfTen(digits + 1);
    double t = (x >= 0) ? x * p + 5 : x * p - 5;
    return trunc(t / 10) / PowerOfTen(digits);
}

double MyDVD(double a, double b)
{
    if (b > -1e-12 && b < 1e-12) return 0;
    return a / b;
}

char* Mystrdup(const char* s)
{
    size_t n = strlen(s);
    char* copy = new char[n + 1];
    memcpy(copy, s, n + 1);
    return copy;
}

int ThreadsForConcurrency(unsigned h, int maximum)
{
    int n;
    if (h < 2) {
        n = 1;
    } else {
        int k = static_cast<int>(0.2 * h);
        n = (k == 0) ? static_cast<int>(h) - 1 : static_cast<int>(h) - k;
    }
    return n > maximum ? maximum : n;
}

void SetNoThread(int& n, int maximum)
{
    if (n != 0) return;
    n = ThreadsForConcurrency(boost::thread::hardware_concurrency(), maximum);
}
