#include <new>

#include "app/entry.h"
#include "support/worker_error.h"

int main(int argc, char** argv)
{
    // Memory that cannot be had ends the run with a message, like any other fatal error.
    try {
        return DavokMain(argc, argv);
    } catch (const std::bad_alloc&) {
        Abort("%s", kOutOfMemoryMessage);
    }
}
