// tessera-report: the JSON report of one stream, as tessera-target --report writes it, in plain words.
#include "tools/receiver/ReportJson.h"
#include "tools/receiver/ReportWords.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

namespace {

const char* kUsage = R"(usage: tessera-report FILE

Explains the report of one stream that tessera-target wrote with --report FILE: whether the audio
arrived bit-perfect, what was lost and sent again, how steadily the packets came, and how full the
Target's buffer was.

Bit-perfect includes the phase. A Target may ask the Host to invert the audio (every bit flipped)
from some moment on (tessera-target --invert, --invert-at MS). Before it asks, every frame, silence
too, must arrive as sent. After it asks, the audio may turn inverted once, anywhere from that moment
on (packets already under way still come as they were), and from then on every frame must come
inverted, silence too, never turning back. Inverted frames that the Target never asked for break
bit-perfection. A Host that inverts on its own cancels the Target's wish, so audio that stays
normal after the request is fine. The Phase line tells where the request and the switch happened.

  --help   this text

Exit status: 0 when the report was read (whatever it says), 1 when FILE can't be read or is not a
report, 2 on bad arguments.
)";

} // namespace

int main(int argc, char** argv) {
    if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (argc != 2 || argv[1][0] == '-') {
        std::fprintf(stderr, "tessera-report: give one report file (see --help)\n");
        return 2;
    }
    std::ifstream file(argv[1], std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    if (!file) {
        std::fprintf(stderr, "tessera-report: can't read %s\n", argv[1]);
        return 1;
    }
    TESSERA::StreamReport report;
    std::string error;
    if (!TESSERA::ReportJson::parse(text.str(), report, error)) {
        std::fprintf(stderr, "tessera-report: %s: %s\n", argv[1], error.c_str());
        return 1;
    }
    std::fputs(TESSERA::ReportWords::text(report).c_str(), stdout);
    return 0;
}
