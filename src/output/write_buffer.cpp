#include "output/write_buffer.h"

CWriteBuffer::CWriteBuffer() {}
CWriteBuffer::~CWriteBuffer() {}
void CWriteBuffer::Write(const char*, ...) {}
void CWriteBuffer::WriteBinary(const void*, int) {}
void CWriteBuffer::WriteUnsignedInt(int) {}
void CWriteBuffer::WriteUnsignedInt_noS(int) {}
void CWriteBuffer::Dump() {}
void CWriteBuffer::AfterWrite() {}
