#include <fcntl.h>
#include <spawn.h>
#include <sys/random.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>

#include <fmt/format.h>
#include <httplib.h>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "ybaselib/core/fnv1a.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

constexpr const char* kHost = "127.0.0.1";
constexpr const char* kBytes = "application/octet-stream";
constexpr const char* kText = "text/plain; charset=utf-8";
/// What the page may do: nothing but talk to the program that serves it.
constexpr const char* kPolicy =
    "default-src 'self'; script-src 'self' 'wasm-unsafe-eval'; style-src 'self' 'unsafe-inline'; "
    "img-src 'self' data: blob:; frame-ancestors 'none'; base-uri 'none'; form-action 'none'";

struct EditOptions
{
    std::string file;
    std::string site;
    bool noOpen = false;
    bool repair = false;
};

// --- The site ------------------------------------------------------------------------------------------

/// Where the site is: the folder given, or that beside the program, as it is built or installed.
std::filesystem::path SiteFolder(const std::string& given)
{
    std::error_code error;
    const auto isSite = [&error](const std::filesystem::path& folder) {
        return std::filesystem::is_regular_file(folder / "index.html", error);
    };
    if (!given.empty()) {
        if (isSite(given)) return given;
        throw Failure(fmt::format("{}: there is no editor in it; give the folder that 'make editor' has made",
                                  Printable(given)));
    }
    const std::filesystem::path program =
        std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    for (const char* place : {"../share/yfcurve/editor", "../../editor"}) {
        std::filesystem::path folder = (program / place).lexically_normal();
        if (isSite(folder)) return folder;
    }
    throw Failure("the editor is not installed; build it with 'make editor', or give its folder with --site");
}

// --- The file ------------------------------------------------------------------------------------------

/// The file that is edited. Any thread may ask.
class EditedFile
{
  public:
    /// The page gets this file and no other.
    EditedFile(std::string path, bool repair) : mPath(std::move(path)), mRepair(repair)
    {
        LookAt(ReadFile(mPath).View());
    }

    std::string Name() const { return std::filesystem::path(mPath).filename().string(); }

    void Read(httplib::Response& response)
    {
        const std::lock_guard lock(mMutex);
        const FileBytes bytes = ReadFile(mPath);
        LookAt(bytes.View());
        response.set_header("ETag", mLookedAt);
        response.set_content(std::string(bytes.View()), kBytes);
    }

    /// Replaces the file unless it is another one than the page knows.
    /// \param known  its tag; "*" to replace whatever is there
    void Write(const std::string& content, const std::string& known, httplib::Response& response)
    {
        const std::lock_guard lock(mMutex);
        if (!mRefusal.empty()) throw Failure(mRefusal);
        ReadSceneText(content, Printable(mPath));
        const EditLock others(mPath, mPath);
        if (known != "*" && TagOfFile() != known) {
            response.status = 412;
            response.set_content(Printable(mPath) + " was changed by another program meanwhile", kText);
            return;
        }
        WriteFile(mPath, content, PrintNote);
        response.status = 204;
        response.set_header("ETag", TagOf(content));
    }

  private:
    static std::string TagOf(std::string_view bytes)
    {
        return fmt::format("\"{:016x}-{:x}\"", ybase::Fnv1a(bytes), bytes.size());
    }

    /// Finds out whether what the page gets may be replaced by what it makes of it.
    void LookAt(std::string_view bytes)
    {
        const std::string tag = TagOf(bytes);
        if (mLookedAt == tag) return;
        const Scene scene = ReadSceneText(bytes, Printable(mPath), HowToRead());
        if (!scene.leftOut.empty()) PrintNote(fmt::format("{}: {}", scene.file, LeftOutText(scene)));
        mRefusal.clear();
        try {
            CheckWhole(scene, mPath, mPath, mRepair, "save a copy from the page, or start with --repair");
        } catch (const Failure& failure) {
            mRefusal = failure.what();
        }
        mLookedAt = tag;
    }

    /// Of what is on the disk. Empty where the file is gone.
    std::string TagOfFile() const
    {
        std::error_code error;
        if (!std::filesystem::exists(mPath, error)) return {};
        return TagOf(ReadFile(mPath).View());
    }

    std::string mPath;
    bool mRepair;
    std::string mLookedAt;  ///< tag of what the page got last
    std::string mRefusal;   ///< why that must not be replaced; empty where it may
    std::mutex mMutex;
};

// --- The server ----------------------------------------------------------------------------------------

/// 128 bits that no other program can guess, as hexadecimal digits.
std::string MakeToken()
{
    std::array<unsigned char, 16> bytes;
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        FailWithErrno("the system", "cannot give random numbers", errno);
    return fmt::format("{:02x}", fmt::join(bytes, ""));
}

/// Serves the page to those alone who know the address, and to no other page.
class EditServer
{
  public:
    EditServer(const std::filesystem::path& site, EditedFile* file)
        : mFolder("/" + MakeToken() + "/"), mName(file == nullptr ? std::string() : file->Name())
    {
        mServer.set_default_headers({{"Content-Security-Policy", kPolicy},
                                     {"Cross-Origin-Resource-Policy", "same-origin"},
                                     {"Referrer-Policy", "no-referrer"},
                                     {"X-Content-Type-Options", "nosniff"},
                                     {"Cache-Control", "no-store"}});
        mServer.set_payload_max_length(static_cast<std::size_t>(MostBytes()));
        mServer.set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
            if (IsAllowed(request)) return httplib::Server::HandlerResponse::Unhandled;
            response.status = 403;
            response.set_content("use the address that yfcurve has printed\n", kText);
            return httplib::Server::HandlerResponse::Handled;
        });
        if (!mServer.set_mount_point(mFolder, site.string()))
            throw Failure(Printable(site.string()) + ": cannot be read; give another folder with --site");
        if (file != nullptr) ServeFile(*file);
        mPort = mServer.bind_to_any_port(kHost);
        if (mPort <= 0) throw Failure("no port of this machine is free for the editor; close other programs");
    }

    std::string Address() const
    {
        const std::string page = fmt::format("http://{}:{}{}", kHost, mPort, mFolder);
        return mName.empty() ? page : httplib::append_query_params(page, {{"edit", mName}});
    }

    /// Until the program is stopped.
    void Serve()
    {
        if (!mServer.listen_after_bind()) throw Failure("the editor cannot be served any more; start again");
    }

  private:
    bool IsAllowed(const httplib::Request& request) const
    {
        const std::string host = fmt::format("{}:{}", kHost, mPort);
        if (request.get_header_value("Host") != host || !request.path.starts_with(mFolder)) return false;
        if (request.has_header("Origin") && request.get_header_value("Origin") != "http://" + host)
            return false;
        return request.method == "GET" || request.method == "HEAD" || request.method == "PUT";
    }

    void ServeFile(EditedFile& file)
    {
        const std::string path = mFolder + "file";
        mServer.Get(path, [&file](const httplib::Request&, httplib::Response& response) {
            Try(response, [&] { file.Read(response); });
        });
        mServer.Put(path, [&file](const httplib::Request& request, httplib::Response& response) {
            Try(response, [&] { file.Write(request.body, request.get_header_value("If-Match"), response); });
        });
    }

    /// Tells the page, and the terminal, of what fails.
    template<class Act>
    static void Try(httplib::Response& response, const Act& act)
    {
        try {
            act();
        } catch (const std::exception& failure) {
            PrintError(failure.what());
            response.status = 500;
            response.set_content(failure.what(), kText);
        }
    }

    std::string mFolder;
    std::string mName;
    httplib::Server mServer;
    int mPort = 0;
};

/// Starts the desktop's browser with its output discarded; without a browser the printed address can be opened by hand.
void OpenBrowser(const std::string& address)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", O_WRONLY, 0);
    // In a session of its own: Ctrl-C is for the server, not for the browser.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    std::string opener = "xdg-open";
    std::string argument = address;
    char* const words[] = {opener.data(), argument.data(), nullptr};
    pid_t child = 0;
    if (posix_spawnp(&child, words[0], &actions, &attributes, words, environ) != 0)
        PrintNote("no browser could be started; open the address in one");
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
}

void RunEdit(const EditOptions& options)
{
    if (options.file == "-") throw Failure("the editor saves what it reads; give a file", kExitUsage);
    const std::filesystem::path site = SiteFolder(options.site);
    std::unique_ptr<EditedFile> file;
    if (!options.file.empty()) file = std::make_unique<EditedFile>(options.file, options.repair);
    EditServer server(site, file.get());
    SaveText("-", server.Address() + "\n");
    if (!options.noOpen) OpenBrowser(server.Address());
    PrintNoteOnTerminal("stop with Ctrl-C when you are done");
    server.Serve();
}

}  // namespace

void AddEditCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<EditOptions>();
    CLI::App* command = program.add_subcommand("edit", "Edit a motion and its curves in the browser");
    RefuseEmpty(
        *command->add_option("FILE", options->file, "the motion; without it the page opens files itself")
             ->type_name(""));
    command->add_flag("--no-open", options->noOpen, "print the address, and start no browser");
    RefuseEmpty(
        *command->add_option("--site", options->site, "folder of the editor's page")->type_name("FOLDER"));
    AddSizeOption(*command);
    AddRepairFlag(*command, options->repair);
    command->footer(
        "The page is served to this machine alone, under an address that cannot be guessed, until Ctrl-C.\n"
        "It saves to FILE whole or not at all, and asks before it replaces one that another program has\n"
        "changed meanwhile. On a machine with other users give --no-open: while a browser starts, they see\n"
        "the address among the processes.\n"
        "\n"
        "Examples:\n"
        "  yfcurve edit walk.bvh\n"
        "  yfcurve edit walk.ytalo --no-open");
    command->callback([options, &chosen] { chosen = [options] { RunEdit(*options); }; });
}

}  // namespace program
