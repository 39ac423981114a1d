#include "app/banner.h"

std::string MakeLogo()
{
    std::string logo;
    logo += " ____                    _    \n";
    logo += "|  _ \\  __ ___   _____ | | __\n";
    logo += "| | | |/ _` \\ \\ / / _ \\| |/ /\n";
    logo += "| |_| | (_| |\\ V / (_) |   < \n";
    logo += "|____/ \\__,_| \\_/ \\___/|_|\\_\\\n";
    logo += "(Simulation of genomes and breeding populations)\n";
    logo += "Version 1.10";
    logo += " (16-bit)\n";
    return logo;
}
