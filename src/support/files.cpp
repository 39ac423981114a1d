#include "support/files.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <sys/stat.h>
#include <tuple>
#include <utility>

#include "support/messages.h"

namespace {

// A stream opened for writing: its name for the messages and the first failure noted on it.
struct SOutputFile {
    explicit SOutputFile(const char* name) : path(name) {}
    std::string path;
    std::atomic<int> firstError{0};  // error number of the first noted failure; 0 when none
};

// Streams opened for writing, by handle. Changed by the main thread only.
std::map<FILE*, SOutputFile>& OpenOutputs()
{
    static std::map<FILE*, SOutputFile> outputs;
    return outputs;
}

bool OpensForWriting(const char* mode)
{
    return strpbrk(mode, "wa+") != nullptr;
}

// Flushes fp: 0 when nothing written to it was lost, else the error number of the first
// failure. A stream whose error flag is set without any known reason counts as an I/O error.
int FlushStatus(FILE* fp, const SOutputFile& file)
{
    const int flushError = fflush(fp) == 0 ? 0 : errno;
    if (int noted = file.firstError.load()) return noted;
    if (flushError) return flushError;
    return ferror(fp) ? EIO : 0;
}

[[noreturn]] void AbortReportFailure(const std::string& path, int err)
{
    Abort("Error - Could not write [%s]; %s.\n", path.c_str(), strerror(err));
}

// Checks that the file looks like a finished text file: not a folder, ending with a line feed.
void CheckTextInput(FILE* fp, const char* path)
{
    struct stat st;
    if (fstat(fileno(fp), &st) == 0 && S_ISDIR(st.st_mode)) {
        fclose(fp);
        Abort("Could not open [%s]; %s\n", path, strerror(EISDIR));
    }
    // An empty file has no last byte and therefore no final line feed.
    bool endsWithLineFeed = fseek(fp, -1, SEEK_END) == 0 && fgetc(fp) == '\n';
    if (!endsWithLineFeed) {
        fclose(fp);
        Abort("Last line of file \"%s\" ends without a newline.\n", path);
    }
    rewind(fp);
}

}  // namespace

FILE* MyTryfopen(const char* path, const char* mode)
{
    FILE* fp = fopen(path, mode);
    if (!fp) return nullptr;
    auto& outputs = OpenOutputs();
    outputs.erase(fp);  // a handle closed elsewhere may come back for a new file
    if (OpensForWriting(mode))
        outputs.emplace(std::piecewise_construct, std::forward_as_tuple(fp), std::forward_as_tuple(path));
    return fp;
}

FILE* Myfopen(const char* path, const char* mode)
{
    FILE* fp = MyTryfopen(path, mode);
    if (!fp) Abort("Could not open [%s]; %s\n", path, strerror(errno));
    if (strcmp(mode, "r") == 0) CheckTextInput(fp, path);
    return fp;
}

void MyFflush(FILE* fp)
{
    if (!fp) return;
    auto& outputs = OpenOutputs();
    auto it = outputs.find(fp);
    if (it == outputs.end()) {
        fflush(fp);
        return;
    }
    const int err = FlushStatus(fp, it->second);
    if (!err) return;
    const std::string path = it->second.path;
    if (fp == rptfp) {
        rptfp = nullptr;  // Abort must not write into the failing report
        AbortReportFailure(path, err);
    }
    fclose(fp);
    outputs.erase(it);
    AbortIncompleteFile(path.c_str(), err);
}

int MyFcloseStatus(FILE* fp)
{
    if (fp == rptfp) rptfp = nullptr;  // the report ends here; later messages go to the console
    auto& outputs = OpenOutputs();
    auto it = outputs.find(fp);
    if (it == outputs.end()) return fclose(fp) == 0 ? 0 : errno;
    int err = FlushStatus(fp, it->second);
    if (fclose(fp) != 0 && !err) err = errno;
    outputs.erase(it);
    return err;
}

void MyFclose(FILE* fp)
{
    if (!fp) return;
    auto& outputs = OpenOutputs();
    auto it = outputs.find(fp);
    if (it == outputs.end()) {
        fclose(fp);
        return;
    }
    const std::string path = it->second.path;
    const bool isReport = fp == rptfp;
    const int err = MyFcloseStatus(fp);
    if (!err) return;
    if (isReport) AbortReportFailure(path, err);
    AbortIncompleteFile(path.c_str(), err);
}

void NoteWriteFailure(FILE* fp, int err)
{
    auto& outputs = OpenOutputs();
    auto it = outputs.find(fp);
    if (it == outputs.end()) return;
    int none = 0;
    it->second.firstError.compare_exchange_strong(none, err);
}

// Only a plain file (or a link, whose target stays) is removed: never a device or a pipe that
// the name happened to lead to.
void AbortIncompleteFile(const char* path, int err)
{
    const std::string reason = strerror(err);
    struct stat st;
    const bool removable = lstat(path, &st) == 0 && (S_ISREG(st.st_mode) || S_ISLNK(st.st_mode));
    if (removable && remove(path) == 0)
        Abort("Error - Could not write [%s]; %s. The incomplete file is removed.\n", path, reason.c_str());
    Abort("Error - Could not write [%s]; %s.\n", path, reason.c_str());
}
