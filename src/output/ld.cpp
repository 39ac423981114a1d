// Linkage disequilibrium by map distance, computed per generation and written per population.
#include "app/simclass.h"

namespace {

// Distance classes of marker pairs, cM: class k holds lower[k] <= d < lower[k + 1], the last one
// up to 100 cM included.
constexpr double kLDClassLower[kLDClasses] = {0,   0.05, 0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9, 1,  2, 3,
                                              4,   5,    6,   8,   10,  15,  20,  25,  30,  40,  50,  60, 80};
constexpr const char* kLDClassLabel[kLDClasses] = {
    "[0,.05)  ", "[.05,.1) ", "[.1,.2)  ", "[.2,.3)  ", "[.3,.4)  ", "[.4,.5)  ", "[.5,.6)  ",
    "[.6,.7)  ", "[.7,.8)  ", "[.8,.9)  ", "[.9,1)   ", "[1,2)    ", "[2,3)    ", "[3,4)    ",
    "[4,5)    ", "[5,6)    ", "[6,8)    ", "[8,10)   ", "[10,15)  ", "[15,20)  ", "[20,25)  ",
    "[25,30)  ", "[30,40)  ", "[40,50)  ", "[50,60)  ", "[60,80)  ", "[80,100] "};

}  // namespace

// Writes the label of class k; a class lying wholly at or beyond the population's max_distance is
// not printed (false).
bool SimClass::PrintLDBin(int k, FILE* fp) const
{
    if (k < 0 || k >= kLDClasses) return true;
    if (kLDClassLower[k] >= curPop->out.ldMaxDist) return false;
    fputs(kLDClassLabel[k], fp);
    return true;
}

void SimClass::ComputeLDStat(int, int, int) {}
void SimClass::SaveLD() {}
