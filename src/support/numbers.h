// Number formatting, rounding, guarded division and the thread-count rule.
#pragma once

// v in decimal with ',' between groups of three digits (1234567 -> "1,234,567").
// The text lives in one of 15 rotating buffers: valid for the next 14 calls; main thread only.
const char* FormatNum(unsigned long long v);

// Half up for non-negative x; negative x is truncated toward zero (MyRound(-2.7) == -2).
int MyRound(double x);
// Rounds x to `digits` decimals, halves away from zero.
double RoundDouble(double x, short digits);
// a / b, or 0 when |b| < 1e-12.
double MyDVD(double a, double b);

inline double MyMin(double a, double b) { return a < b ? a : b; }
inline double MyMax(double a, double b) { return a > b ? a : b; }
inline int MyMin(int a, int b) { return a < b ? a : b; }
inline int MyMax(int a, int b) { return a > b ? a : b; }

// A copy of s in a new char array, released with delete[].
char* Mystrdup(const char* s);

// Worker threads for a hardware concurrency h: 1 below 2 cores, else h minus a fifth of h
// (at least one core left free), never more than maximum.
int ThreadsForConcurrency(unsigned h, int maximum);
// Sets n from the hardware concurrency when n is 0; a value already set is kept as it is.
void SetNoThread(int& n, int maximum);
