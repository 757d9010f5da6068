#include "archive/Destinations.h"

#include <fstream>
#include <sstream>

namespace b3archive {

bool readDestinations(const std::string& path, Destinations& found, std::string& error)
{
    std::ifstream in(path);
    if (!in) {
        error = "cannot read " + path;
        return false;
    }
    std::string line;
    for (int number = 1; std::getline(in, line); number++) {
        std::istringstream words(line);
        Destination d;
        std::string extra;
        if (!(words >> d.aeTitle) || d.aeTitle[0] == '#')
            continue;
        if (!(words >> d.host >> d.port) || (words >> extra) || d.aeTitle.size() > 16 || d.port < 1 ||
            d.port > 65535) {
            error = path + ":" + std::to_string(number) + ": expected AE_TITLE HOST PORT";
            return false;
        }
        found[d.aeTitle] = d;
    }
    return true;
}

}
