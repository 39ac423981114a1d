// Process entry: command line, start-up order, final message and exit code.
#pragma once

int DavokMain(int argc, char** argv);
