// Shuffles drawn from the main generator.
#pragma once

// floor(n * URand()) of the main generator, never n.
int RandomIndexBelow(int n);
// Random permutation of the first m of the n entries of a (main generator).
void Shuffle(int* a, int n, int m);
