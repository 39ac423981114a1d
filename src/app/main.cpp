#include "app/entry.h"

int main(int argc, char** argv)
{
    return DavokMain(argc, argv);
}
