#include "app/simclass.h"

void SimClass::HPSimulator(int) {}
void SimClass::MeiosisBase_MyThread(int) {}
void SimClass::GetHPHomo(int) {}
void SimClass::GenerateCompleteLD(SRec*) {}
void SimClass::SelectSegregatingLoci_LHG(SRec*) {}
void SimClass::PurgeIndivGenotype_LHG(SRec*, const int*, int) {}
void SimClass::GenerateUniqueURandPos(SLocus**, int, double, double, double, double, short) {}
void SimClass::RandomizePosAcrossGenome(int) {}
void SimClass::SampleParam(int) {}
void SimClass::SampleAlleles(int) {}
void SimClass::AllocQAEffectMem() {}
void SimClass::SampleQAEffect() {}
void SimClass::ScaleQAEffect(SRec*, int, double&) {}
double SimClass::QTLValue(const SRec*) const { return 0; }
void SimClass::SampleCrossoPos(int, short&, double*, double, CMyRnd*) {}
void SimClass::Meiosis(SRec*, CMyRnd*, SCrossoP*, CWriteBuffer*) {}
void SimClass::MeiosisBase(int, int) {}
