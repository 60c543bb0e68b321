// Scenes and timing for the comparison with other programs: one object a line, and lines of results in the shape that the
// comparison's table reads: workload|program|variant|runs|median s|min s|max s|ops|base MB|peak MB|note.
#pragma once

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace scene {

struct Object {
    char kind = 0; // L R E P F T M; S a stamp, Q a question
    double a = 0, b = 0, c = 0, d = 0;
    int width = 1;
    uint32_t stroke = 0, fill = 0; // 0xRRGGBB
    std::vector<double> points;
    std::string text;
};

struct Scene {
    int width = 0, height = 0;
    std::vector<Object> objects;

    Scene only(char kind) const {
        Scene part{width, height, {}};
        std::ranges::copy_if(objects, std::back_inserter(part.objects), [kind](const Object& o) { return o.kind == kind; });
        return part;
    }
};

inline std::string folderFile(const char* variable, const char* fallback, const char* name) {
    const char* folder = std::getenv(variable);
    return std::string(folder ? folder : fallback) + "/" + name;
}

inline Scene load(const char* name) {
    std::ifstream in(folderFile("SCENES", "scenes", name));
    if (!in) throw std::runtime_error(std::string("no scene ") + name);
    Scene scene;
    std::string word;
    double ignored = 0;
    size_t count = 0;
    in >> word >> ignored >> scene.width >> scene.height >> count;
    scene.objects.resize(count);
    const auto color = [&in, &word] { return in >> word, static_cast<uint32_t>(std::stoul(word, nullptr, 16)); };
    for (Object& o : scene.objects) {
        in >> o.kind;
        size_t points = 0;
        switch (o.kind) {
        case 'L':
        case 'E':
            in >> o.a >> o.b >> o.c >> o.d >> o.width;
            o.stroke = color();
            break;
        case 'R':
            in >> o.a >> o.b >> o.c >> o.d >> o.width;
            o.stroke = color();
            o.fill = color();
            break;
        case 'M':
            in >> o.a >> o.b >> o.c >> o.d;
            o.fill = color();
            break;
        case 'P':
            in >> points;
            o.fill = color();
            break;
        case 'F':
            in >> points >> o.width;
            o.stroke = color();
            break;
        case 'T':
            in >> o.a >> o.b >> o.c;
            o.stroke = color();
            in >> o.text;
            break;
        case 'S': in >> o.a >> o.b >> o.c; break; // middle, degrees
        case 'Q': in >> o.a >> o.b; break;
        default: throw std::runtime_error(std::string("unknown object ") + o.kind);
        }
        o.points.resize(2 * points);
        for (double& value : o.points) in >> value;
    }
    return scene;
}

inline double now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

inline double statusMegabytes(const char* key) {
    std::ifstream in("/proc/self/status");
    for (std::string line; std::getline(in, line);)
        if (line.starts_with(key)) return std::stod(line.substr(std::strlen(key))) / 1024;
    return 0;
}

// One run untimed, then five (RUNS changes that). before() is never timed.
inline void measure(
    const char* workload, const char* variant, double ops, const std::function<void()>& run,
    const std::function<void()>& before = [] {}, const std::string& note = "") {
    const double base = statusMegabytes("VmRSS:");
    const char* told = std::getenv("RUNS");
    const int runs = told ? std::atoi(told) : 5;
    std::vector<double> times;
    for (int i = 0; i <= runs; ++i) {
        before();
        const double start = now();
        run();
        if (i) times.push_back(now() - start);
    }
    std::ranges::sort(times);
    std::printf("%s|kbann|%s|%zu|%.6f|%.6f|%.6f|%.0f|%.1f|%.1f|%s\n", workload, variant, times.size(),
                times[times.size() / 2], times.front(), times.back(), ops, base, statusMegabytes("VmHWM:"), note.c_str());
    std::fflush(stdout);
}

} // namespace scene
