// corvix-support package: the support package job, headless.
#include <sys/stat.h>

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

#include "CliCommands.h"
#include "CliContext.h"
#include "FileDigest.h"
#include "PackageJob.h"
#include "SupportPackage.h"
#include "VeskPlatform.h"

namespace {

const char kDefaultArchiveName[] = "CorvixSupport.zip";

struct PackageOptions {
    std::string _output;
    std::string _name;
    std::string _company;
    std::string _email;
    std::string _comment;
    std::string _commentFile;
    std::vector<std::string> _attachments;
    int _commandTimeout = SupportPackage::kDefaultCommandTimeout;
    bool _dryRun = false;

    CLI::Option* _outputOption = nullptr;
    CLI::Option* _nameOption = nullptr;
    CLI::Option* _companyOption = nullptr;
    CLI::Option* _commentOption = nullptr;
};

// Progress lines on standard error, so that standard output carries only the result.
class ProgressPrinter : public PackageJobObserver {
  public:
    explicit ProgressPrinter(std::ostream& err) : _err(err) {}
    void packageStep(int index, int total, const std::string& label) override {
        char prefix[32];
        snprintf(prefix, sizeof prefix, "[%2d/%d] ", index, total);
        _err << prefix << label << std::endl;
    }
    void packageSaving(const std::string& archivePath) override {
        _err << "saving " << archivePath << std::endl;
    }
    void packageAlert(const std::string& title, const std::string& message) override {
        _err << title << " " << message << std::endl;
    }

  private:
    std::ostream& _err;
};

bool isDirectory(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string parentOf(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Where the archive goes: the given path (a folder gets the default name inside it), else the
// Desktop, made when missing unless this is a dry run. False, with a message, when that place
// cannot take it.
bool resolveOutput(const PackageOptions& options, std::string* archive, CliContext& context,
                   int* failure) {
    if (options._outputOption->count() > 0) {
        if (options._output.empty()) {
            context.err << "corvix-support package: -o needs the path of the archive.\n";
            return false;
        }
        *archive = options._output;
        if (isDirectory(*archive)) {
            *archive += (archive->back() == '/' ? "" : "/") + std::string(kDefaultArchiveName);
        }
        if (!isDirectory(parentOf(*archive))) {
            context.err << "corvix-support package: the folder \"" << parentOf(*archive)
                        << "\" for the archive does not exist.\n";
            *failure = kCliUsage;
            return false;
        }
        return true;
    }
    std::string desktop;
    if (!vesk_desktopFolder(&desktop)) {
        context.err << "corvix-support package: there is no Desktop folder (HOME is not set); "
                       "name the archive with -o PATH.\n";
        *failure = kCliFailure;
        return false;
    }
    if (!options._dryRun && !isDirectory(desktop) && mkdir(desktop.c_str(), 0777) != 0) {
        context.err << "corvix-support package: cannot make the Desktop folder \"" << desktop
                    << "\": " << strerror(errno) << "\n";
        *failure = kCliFailure;
        return false;
    }
    *archive = desktop + "/" + kDefaultArchiveName;
    return true;
}

// Fills the request from the options; false (with a message) for input that must be refused
// before anything is collected.
bool buildRequest(const PackageOptions& options, PackageRequest* request, CliContext& context) {
    if (!options._email.empty()) {
        if (!PackageRequest::isValidEmailAddress(options._email.c_str())) {
            context.err << "corvix-support package: Invalid email address: \"" << options._email
                        << "\"\n";
            return false;
        }
        request->_email = options._email;
    }
    if (options._nameOption->count() > 0) {
        request->_userName = options._name;
    } else {
        std::string fullName;
        if (vesk_userFullName(&fullName)) {
            request->_userName = fullName;
        }
    }
    if (options._companyOption->count() > 0) {
        request->_company = options._company;
    }
    if (options._commentOption->count() > 0) {
        request->_comment = options._comment;
    } else if (!options._commentFile.empty()) {
        std::ifstream in(options._commentFile, std::ios::binary);
        if (!in) {
            context.err << "corvix-support package: cannot read the comment file \""
                        << options._commentFile << "\": " << strerror(errno) << "\n";
            return false;
        }
        std::ostringstream text;
        text << in.rdbuf();
        request->_comment = text.str();
    }
    for (const std::string& file : options._attachments) {
        struct stat st;
        if (stat(file.c_str(), &st) != 0) {
            context.err << "corvix-support package: the attachment \"" << file
                        << "\" does not exist.\n";
            return false;
        }
        if (!S_ISREG(st.st_mode)) {
            context.err << "corvix-support package: the attachment \"" << file
                        << "\" is not a regular file.\n";
            return false;
        }
        request->_fileAttachments.push_back(file);
    }
    request->_commandTimeout = options._commandTimeout;
    return true;
}

void printPlan(const PackageRequest& request, const std::string& archive, CliContext& context) {
    const std::vector<PackagePlanRow> plan = PackageJob::plan(request);
    for (const PackagePlanRow& row : plan) {
        char prefix[32];
        snprintf(prefix, sizeof prefix, "[%2d/%zu] ", row._index, plan.size());
        context.out << prefix << row._row->_label << "\n";
        if (row._items.empty()) {
            context.out << "        (nothing)\n";
        }
        for (const PackagePlanItem& item : row._items) {
            if (row._row->_operation == PackageOperation::Capture) {
                context.out << "        $ " << item._what << "\n";
            } else if (item._size < 0) {
                context.out << "        " << item._what << "\n";
            } else {
                context.out << "        " << item._what << "  " << item._size << " bytes\n";
            }
        }
    }
    context.out << "archive: " << archive << " (not written: dry run)\n";
}

int runPackage(const PackageOptions& options, CliContext& context) {
    // Everything the user typed is checked before the Desktop is made or anything collected.
    PackageRequest request;
    if (!buildRequest(options, &request, context)) {
        return kCliUsage;
    }
    std::string archive;
    int failure = kCliUsage;
    if (!resolveOutput(options, &archive, context, &failure)) {
        return failure;
    }
    request._fileName = archive;
    if (options._dryRun) {
        printPlan(request, archive, context);
        return kCliSuccess;
    }

    ProgressPrinter progress(context.err);
    PackageJobResult result;
    try {
        result = PackageJob::run(request, &progress);
    } catch (const SupportPackageException& e) {
        context.err << "corvix-support package: Could not create support package: " << e.what()
                    << "\n";
        return kCliFailure;
    }
    if (!result._created) {
        return kCliFailure;
    }
    if (result._saved != 1) {
        context.err << "corvix-support package: the archive could not be saved to \"" << archive
                    << "\"; the collected files stay in " << result._stagingFolder << "\n";
        return kCliFailure;
    }
    std::string digest;
    struct stat st;
    if (stat(archive.c_str(), &st) != 0 || !FileDigest::sha256(archive, &digest)) {
        context.err << "corvix-support package: the archive \"" << archive
                    << "\" cannot be read back: " << strerror(errno) << "\n";
        return kCliFailure;
    }
    context.out << result._message << "\n\n"
                << "archive: " << archive << "\n"
                << "size: " << st.st_size << " bytes\n"
                << "sha256: " << digest << "\n"
                << "staging folder: " << result._stagingFolder << "\n";
    return kCliSuccess;
}

}  // namespace

void registerPackageCommand(CLI::App& app, CliContext& context) {
    auto options = std::make_shared<PackageOptions>();
    CLI::App* command = app.add_subcommand(
        "package",
        "Collect a support package (system report, command outputs, logs, preferences, "
        "product files, attachments) and save it as one ZIP archive");
    options->_outputOption =
        command
            ->add_option("-o,--output", options->_output,
                         "Archive path, or a folder for CorvixSupport.zip (default: the Desktop)")
            ->type_name("PATH");
    options->_nameOption =
        command->add_option("--name", options->_name, "Your name (default: your full name)")
            ->type_name("TEXT");
    options->_companyOption =
        command->add_option("--company", options->_company, "Your company")->type_name("TEXT");
    command->add_option("--email", options->_email, "Your e-mail address")->type_name("ADDR");
    options->_commentOption =
        command->add_option("--comment", options->_comment, "What went wrong")->type_name("TEXT");
    command->add_option("--comment-file", options->_commentFile, "Read the comment from FILE")
        ->type_name("FILE")
        ->excludes(options->_commentOption);
    command
        ->add_option("--attach", options->_attachments,
                     "Attach a file (repeat for more; kept in order)")
        ->type_name("FILE");
    command
        ->add_option("--command-timeout", options->_commandTimeout,
                     "End a system command still running after SECONDS (0: never)")
        ->capture_default_str()
        ->type_name("SECONDS")
        ->check(CLI::NonNegativeNumber);
    command->add_flag("--dry-run", options->_dryRun,
                      "List what would be collected, with sizes and command lines; write nothing");
    command->callback([options, &context] { context.exitCode = runPackage(*options, context); });
}
