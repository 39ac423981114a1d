// Genotype and allele-frequency files of each generation of a population.
#include "app/simclass.h"

void SimClass::SaveGenResults(int, int, int) {}
