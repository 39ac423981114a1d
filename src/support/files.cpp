#include "support/files.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

#include "support/messages.h"

FILE* Myfopen(const char* path, const char* mode)
{
    FILE* fp = fopen(path, mode);
    if (!fp) Abort("Could not open [%s]; %s\n", path, strerror(errno));
    if (strcmp(mode, "r") != 0) return fp;

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
    return fp;
}
