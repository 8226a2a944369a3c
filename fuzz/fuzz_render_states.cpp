// Render control files, the state-machine part: any file loads into a controller without harm,
// and console lines (the file's own lines, so that they meet its expressions) go through its
// states, the monitor and state switches.
#include <string>

#include "FuzzSandbox.h"
#include "RenderController.h"
#include "RenderControllerState.h"

void fuzz_writeSeeds(const std::string& folder) {
    fuzz_seed(folder, "machine",
              "<renderer name=\"Prism\"><executable>/bin/sh</executable>"
              "<state name=\"wait\"><transition to=\"run\"><stringmatch>^Start"
              "</stringmatch></transition></state><state name=\"run\" default=\"1\">"
              "<framerender mode=\"f\"><extraction>^Frame ([0-9]+) </extraction></framerender>"
              "<error mode=\"e\"><stringmatch>failed</stringmatch></error>"
              "<completion to=\"wait\"><stringmatch>^Done</stringmatch></completion></state>"
              "<monitor><transition to=\"stop\"><stringmatch>^KILL</stringmatch></transition>"
              "</monitor></renderer>\nFrame 7 failed\nDone\nKILL\nStart\n");
    // Found by a 30-minute run: a repetition of repetitions, which compiled to gigabytes.
    fuzz_seed(folder, "repetitions",
              "<renderer name=\"Prism\"><executable>/bin/sh</executable><state name=\"wait\">"
              "<transition to=\"stop\"><stringmatch>^KI" +
                  std::string(130, '+') +
                  "LL{</stringmatch></transition></state></renderer>\nKILL\n");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string file = fuzz_begin() + "/work/r.xml";
    fuzz_writeFile(file, data, size);
    RenderController controller(file.c_str());
    controller.getRendererName();
    controller.handlesExtension("c4d");
    for (const std::string& line :
         fuzz_split(std::string(reinterpret_cast<const char*>(data), size), '\n')) {
        controller.processInput(line.c_str());
        RenderControllerState* state = controller.getCurrentState();
        if (state != nullptr) {
            fuzz_check(controller.switchToState(state->getName().c_str()),
                       "the current state cannot be switched to");
        }
    }
    controller.switchToState("primary.monitor");
    return 0;
}
