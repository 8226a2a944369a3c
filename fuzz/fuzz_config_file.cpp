// The user configuration file ("CorvixPro2.cfg"): whatever the file holds, reading it never
// fails the process, and a file the object wrote reads back with the values it had.
#include <cstring>
#include <string>

#include "FuzzSandbox.h"
#include "VeskConfig.h"

namespace {

const char* const kKeys[] = {"corvix.processes",
                             "corvix.enabled",
                             "corvix.preview.shared.memory",
                             "corvix.render.backupwarning",
                             "corvix.checkforupdates",
                             "corvix.override.xfactor.commands",
                             "corvix.preview.type",
                             "corvix.render.type",
                             "corvix.preview.moveplayhead",
                             "corvix.noncorvix.process.cpu.threshold",
                             "corvix.logging",
                             "corvix.render.background.purge.rate",
                             "corvix.render.shared.memory.sizeInKilobytes.windows",
                             "corvix.render.shared.memory.sizeInKilobytes.mac",
                             "corvix.http.proxy.enabled",
                             "corvix.http.proxy.host",
                             "corvix.http.proxy.port",
                             "corvix.preview.use.foreground",
                             "corvix.performance.level",
                             "corvix.render.backup.count",
                             "corvix.render.sequences.separately",
                             "corvix.memory.free.amountInMegabytes",
                             "corvix.run.install.benchmark",
                             "corvix.preview.min.purge.counter",
                             "corvix.preview.memory.free.amountInMegabytes",
                             "corvix.show.eps.warning",
                             "corvix.show.performance.warning",
                             "corvix.show.preemption.warning",
                             "corvix.preview.populate.cache.immediately",
                             "corvix.pro.spec.evaluation.delayInSeconds",
                             "corvix.dev.logging",
                             "corvix.effect.layer.top",
                             "corvix.preview.number.temp.buffers",
                             "corvix.logging.threadInfo",
                             "corvix.ae.background.args.win",
                             "corvix.ae.background.args.mac",
                             "corvix.show.ctd.transfer_modes.warning",
                             "corvix.show.templates_changed.warning",
                             "corvix.show.disabled.dialog",
                             "corvix.support.bg.mem",
                             "corvix.cache.max.memory.setting"};

std::string configPath() {
    return fuzz_home() + "/.config/Orvanta/Corvix/CorvixPro2.cfg";
}

std::string valueOf(VeskConfig& config, const char* key) {
    char value[1024] = {0};
    fuzz_check(config.getValue(key, value) == 1, "a known key has no value");
    return value;
}

}  // namespace

void fuzz_writeSeeds(const std::string& folder) {
    {
        VeskConfig config("/", "CorvixPro2.cfg");
        config.setValue("corvix.logging", "1");
        config.setValue("corvix.processes", "dedicatedEncoder");
        config.writeToDisk();
    }
    std::string written = fuzz_readFile(configPath());
    fuzz_seed(folder, "written", written);
    fuzz_seed(folder, "old-version",
              "corvix.config.version=2.6\n" + written.substr(written.find('\n') + 1));
    fuzz_seed(folder, "blanks", "corvix.config.version=2.7.1\n  corvix.processes =  4\n;c\n#d\n");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_begin();
    fuzz_writeFile(configPath(), data, size);
    std::string before[sizeof kKeys / sizeof kKeys[0]];
    {
        VeskConfig config("/", "CorvixPro2.cfg");
        for (size_t i = 0; i < sizeof kKeys / sizeof kKeys[0]; ++i) {
            before[i] = valueOf(config, kKeys[i]);
        }
        int number = 0;
        bool flag = false;
        config.getValue("corvix.render.type", &number);
        config.getValue("corvix.logging", &flag);
        char raw[1024] = {0};
        config.getValueX("corvix.config.version", raw);
        fuzz_check(config.getNumProcesses() > 0, "no process to start");
        before[0] = valueOf(config, kKeys[0]);
        config.setValue("corvix.logging", "1");
        fuzz_check(config.writeToDisk(), "the file could not be written");
    }
    VeskConfig again("/", "CorvixPro2.cfg", VeskConfig::kReadOnly);
    for (size_t i = 0; i < sizeof kKeys / sizeof kKeys[0]; ++i) {
        std::string expected = strcmp(kKeys[i], "corvix.logging") == 0 ? "1" : before[i];
        fuzz_check(valueOf(again, kKeys[i]) == expected, "a value did not read back");
    }
    return 0;
}
