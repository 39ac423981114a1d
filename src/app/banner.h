// The program banner: the name in block letters, a subtitle and the version line.
#pragma once

#include <string>

std::string MakeLogo();
