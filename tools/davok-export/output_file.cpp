#include "output_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <vector>

#include "support/messages.h"

namespace {

constexpr size_t kBufferBytes = 1 << 20;

// Temporary files not yet renamed; removed when the program ends, also through Abort.
std::vector<std::string>& PendingFiles()
{
    static std::vector<std::string> pending;
    return pending;
}

void RemovePendingFiles()
{
    for (const std::string& name : PendingFiles()) remove(name.c_str());
}

void Forget(const std::string& name)
{
    auto& pending = PendingFiles();
    pending.erase(std::remove(pending.begin(), pending.end(), name), pending.end());
}

}  // namespace

COutputFile::COutputFile(const std::string& name) : finalName(name)
{
    if (finalName == "-") {
        fp = stdout;
        return;
    }
    // The list is made before the clean-up is registered, so that it is destroyed after it runs.
    PendingFiles();
    static const bool cleanupRegistered = atexit(RemovePendingFiles) == 0;
    (void)cleanupRegistered;
    tempName = finalName + ".tmp" + std::to_string(getpid());
    fp = fopen(tempName.c_str(), "wb");
    if (!fp) Abort("Error - Could not open [%s] (written as [%s]); %s\n", finalName.c_str(), tempName.c_str(), strerror(errno));
    buffer.resize(kBufferBytes);
    setvbuf(fp, buffer.data(), _IOFBF, buffer.size());
    PendingFiles().push_back(tempName);
}

COutputFile::~COutputFile()
{
    if (fp && fp != stdout) fclose(fp);
}

void COutputFile::Write(const void* data, size_t n)
{
    if (fwrite(data, 1, n, fp) != n)
        Abort("Error - Could not write [%s]; %s\n", finalName.c_str(), strerror(errno));
}

void COutputFile::Commit()
{
    const bool failed = ferror(fp) != 0;
    const int status = fp == stdout ? fflush(fp) : fclose(fp);
    const bool toStdout = fp == stdout;
    fp = nullptr;
    if (failed || status != 0) Abort("Error - Could not write [%s]; %s\n", finalName.c_str(), strerror(errno));
    if (toStdout) return;
    if (rename(tempName.c_str(), finalName.c_str()) != 0)
        Abort("Error - Could not rename [%s] to [%s]; %s\n", tempName.c_str(), finalName.c_str(), strerror(errno));
    Forget(tempName);
}
