#include "app/simclass.h"

void SimClass::OpenOutputStreams(int, bool) {}
void SimClass::CloseOutputStreams(bool) {}
FILE* SimClass::MyOpenMergeFile(int, bool, const char*, ...) { return nullptr; }
void SimClass::SaveRepResults() {}
