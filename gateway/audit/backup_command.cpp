#include "backup_command.h"

#include "backup_file.h"
#include "gateway/access/schema.h"
#include "gateway/access/state_claim.h"
#include "gateway/access/state_owner.h"
#include "gateway/settings/limits.h"
#include "history_schema.h"
#include "owned_descriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <set>
#include <sys/stat.h>

namespace gateway {

namespace {

struct kept_database {
    const char* name;
    int version;
    bool (*bring)(database& kept, int version, std::string* problem);
};

constexpr std::array<kept_database, 2> kept_databases = {{
    {"access.db", schema_version, bring_to_version},
    {history_file_name, history_schema_version, bring_history_to_version},
}};

int failed(std::ostream& err, const std::string& problem) {
    err << "vrdx_gateway: " << problem << '\n';
    return exit_failed;
}

// What SQLite keeps beside a database.
void remove_beside(const std::string& path) {
    for (const char* ending : {"-wal", "-shm", "-journal"})
        unlink((path + ending).c_str());
}

void remove_database(const std::string& path) {
    unlink(path.c_str());
    remove_beside(path);
}

// A copy as the database is at one moment, whoever writes meanwhile.
bool add_copy(backup_writing* file, const std::string& state_directory, const char* name,
              std::string* problem) {
    const std::string path = state_directory + "/" + name;
    const std::string copy = path + ".backup-" + std::to_string(getpid());
    remove_database(copy);
    const auto kept = database::open(path, command_database_busy_ms, problem);
    const bool done = kept && kept->copy_to(copy, problem) && file->add(name, copy, problem);
    remove_database(copy);
    return done;
}

bool is_there(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

bool write_backup(int fd, const std::string& name, const std::string& state_directory, std::string* problem) {
    if (!act_as_owner_of(state_directory, problem))
        return false;
    if (!is_there(state_directory + "/access.db")) {
        *problem = "there is no database in " + state_directory + "; possible: --state DIR";
        return false;
    }
    backup_writing file(fd, name);
    if (!file.begin(problem))
        return false;
    for (const kept_database& each : kept_databases)
        if (is_there(state_directory + "/" + each.name) &&
            !add_copy(&file, state_directory, each.name, problem))
            return false;
    return file.end(problem);
}

// --- back again --------------------------------------------------------------------------------------------

const kept_database* find_kept(const std::string& name) {
    for (const kept_database& each : kept_databases)
        if (name == each.name)
            return &each;
    return nullptr;
}

std::string restored_path(const std::string& state_directory, const std::string& name) {
    return state_directory + "/" + name + ".restored";
}

// Whole, of the gateway, and of no newer version. An earlier one is brought forward here.
bool is_sound(const kept_database& wanted, const std::string& path, std::string* problem) {
    std::string verdict;
    const auto kept = database::open(path, command_database_busy_ms, problem);
    if (!kept ||
        !kept->read(
            "PRAGMA quick_check(1)", {}, [&](const sql_row& row) { verdict = row.text(0); }, problem))
        return false;
    if (verdict != "ok") {
        *problem = std::string(wanted.name) + " in the backup is damaged";
        return false;
    }
    return wanted.bring(*kept, wanted.version, problem);
}

bool unpack(int fd, const std::string& name, const std::string& state_directory, std::set<std::string>* names,
            std::string* problem) {
    owned_descriptor out;
    const auto begin_entry = [&](const std::string& entry, std::string* why) {
        if (find_kept(entry) == nullptr || !names->insert(entry).second) {
            *why = name + " has something in it that is no database of this vrdx_gateway";
            return -1;
        }
        const std::string path = restored_path(state_directory, entry);
        remove_database(path);
        out = owned_descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (out.fd() < 0)
            *why = path + " cannot be made: " + std::strerror(errno);
        return out.fd();
    };
    if (!read_backup(fd, name, begin_entry, problem))
        return false;
    if (names->count("access.db") == 0) {
        *problem = name + " has no access.db in it";
        return false;
    }
    for (const std::string& each : *names)
        if (!is_sound(*find_kept(each), restored_path(state_directory, each), problem))
            return false;
    return true;
}

bool is_on_disk(const std::string& path, int flags, std::string* problem) {
    const owned_descriptor file(open(path.c_str(), flags | O_CLOEXEC));
    if (file.fd() >= 0 && fsync(file.fd()) == 0)
        return true;
    *problem = path + " cannot be written: " + std::strerror(errno);
    return false;
}

// What waits beside the old database goes into it, so that it is whole without those files. One that is
// damaged stays as it is: it is replaced all the same.
void settle(const std::string& path) {
    std::string ignored;
    if (!is_there(path))
        return;
    if (const auto old = database::open(path, command_database_busy_ms, &ignored))
        static_cast<void>(old->read(
            "PRAGMA wal_checkpoint(TRUNCATE)", {}, [](const sql_row&) {}, &ignored));
}

// A kill or a power cut at any moment leaves a whole database at `path`, the old one or the new. So, in this
// order, each on the disk before the next: the new one beside it; the old one without what SQLite kept beside
// it, which would be taken for the new one's; the new one in its place.
bool put_one_in_place(const std::string& state_directory, const std::string& name, std::string* problem) {
    const std::string path = state_directory + "/" + name;
    const std::string restored = restored_path(state_directory, name);
    if (!is_on_disk(restored, O_RDWR, problem))
        return false;
    settle(path);
    remove_beside(path);
    if (!is_on_disk(state_directory, O_RDONLY | O_DIRECTORY, problem))
        return false;
    if (rename(restored.c_str(), path.c_str()) != 0) {
        *problem = path + " cannot be put in its place: " + std::strerror(errno);
        return false;
    }
    return is_on_disk(state_directory, O_RDONLY | O_DIRECTORY, problem);
}

bool put_in_place(const std::string& state_directory, const std::set<std::string>& names,
                  std::string* problem) {
    return std::all_of(names.begin(), names.end(), [&](const std::string& each) {
        return put_one_in_place(state_directory, each, problem);
    });
}

} // namespace

int run_backup_command(const command_line& line, const std::string& state_directory, std::ostream& err) {
    const std::string& name = line.backup_file;
    const owned_descriptor file(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (file.fd() < 0)
        return failed(err, errno == EEXIST ? name + " is there already; possible: another name"
                                           : name + " cannot be made: " + std::strerror(errno));
    std::string problem;
    if (write_backup(file.fd(), name, state_directory, &problem))
        return exit_done;
    act_as_caller();
    unlink(name.c_str());
    return failed(err, problem);
}

int run_restore_command(const command_line& line, const std::string& state_directory, std::ostream& err) {
    const std::string& name = line.backup_file;
    const owned_descriptor file(open(name.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.fd() < 0)
        return failed(err, name + " cannot be read: " + std::strerror(errno));
    std::string problem;
    mkdir(state_directory.c_str(), 0700); // for a machine that had no gateway yet
    if (!act_as_owner_of(state_directory, &problem))
        return failed(err, problem);
    const auto claim = state_claim::take(state_directory, &problem);
    if (!claim)
        return failed(err, problem);
    std::set<std::string> names;
    const bool done = unpack(file.fd(), name, state_directory, &names, &problem) &&
                      put_in_place(state_directory, names, &problem);
    for (const std::string& each : names)
        remove_database(restored_path(state_directory, each));
    return done ? exit_done : failed(err, problem);
}

} // namespace gateway
