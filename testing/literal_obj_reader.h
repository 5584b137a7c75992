#pragma once

#include "formats/obj.h"

#include <fstream>
#include <limits>
#include <sstream>
#include <string>

namespace zrktest {

/// The plainest reader of OBJ files: it makes a stream of each line and of each corner. Tests compare the
/// results of the library's reader with it, benchmarks its speed.
inline zrk::WavefrontObj literalWavefrontObj(const std::string& path)
{
    zrk::WavefrontObj obj;
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream stream(line);
        std::string word;
        stream >> word;
        if (word == "v") {
            double x = 0, y = 0, z = 0;
            stream >> x >> y >> z;
            obj.vertices.insert(obj.vertices.end(), {x, y, z});
            ++obj.vertexCount;
        } else if (word == "f") {
            while (stream >> word) {
                std::istringstream corner(word);
                std::string part;
                std::getline(corner, part, '/');
                int index = 0;
                std::istringstream(part) >> index;
                obj.indices.push_back(index == std::numeric_limits<int>::min() ? index : index - 1);
            }
        } else if (!word.empty() && word[0] != '#' && word != "vt" && word != "vn" && word != "o" &&
                   word != "g" && word != "s" && word != "mtllib" && word != "usemtl") {
            obj.offendingLine = line;
            break;
        }
    }
    obj.triangleCount = static_cast<int>(obj.indices.size() / 3);
    return obj;
}

} // namespace zrktest
