#include "database.h"

#include <chrono>
#include <sqlite3.h>
#include <sys/stat.h>

namespace gateway {
namespace {

// A prepared statement is given back however its use ends.
struct reset_at_end {
    sqlite3_stmt* statement;
    ~reset_at_end() {
        sqlite3_reset(statement);
        sqlite3_clear_bindings(statement);
    }
};

int bind(sqlite3_stmt* statement, int place, const sql_value& value) {
    if (const auto* number = std::get_if<std::int64_t>(&value))
        return sqlite3_bind_int64(statement, place, *number);
    if (const auto* text = std::get_if<std::string_view>(&value)) {
        const char* const bytes = text->empty() ? "" : text->data(); // a null pointer would be NULL
        return sqlite3_bind_text64(statement, place, bytes, text->size(), SQLITE_STATIC, SQLITE_UTF8);
    }
    const std::string_view bytes = std::get<blob>(value).bytes;
    return sqlite3_bind_blob64(statement, place, bytes.data(), bytes.size(), SQLITE_STATIC);
}

std::uint64_t clock_ms() {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                          std::chrono::steady_clock::now().time_since_epoch())
                                          .count());
}

constexpr int steps_between_looks = 10000; // of SQLite's machine, some 100 microseconds

int is_over(void* stop_at_ms) {
    return clock_ms() >= *static_cast<const std::uint64_t*>(stop_at_ms) ? 1 : 0;
}

} // namespace

std::int64_t sql_row::number(int column) const {
    return sqlite3_column_int64(statement_, column);
}

std::string sql_row::text(int column) const {
    const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    return bytes == nullptr
               ? std::string()
               : std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
}

std::unique_ptr<database> database::open(const std::string& path, int busy_ms, std::string* problem) {
    // The files beside it (-wal, -shm) get the rights of the file itself.
    const mode_t mask_before = umask(077);
    sqlite3* connection = nullptr;
    const int result = sqlite3_open_v2(
        path.c_str(), &connection, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    umask(mask_before);
    std::unique_ptr<database> opened(new database(path, connection));
    if (result != SQLITE_OK) {
        *problem = opened->problem_text("cannot be opened");
        return nullptr;
    }
    sqlite3_extended_result_codes(connection, 1);
    sqlite3_busy_timeout(connection, busy_ms);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    return opened;
}

database::~database() {
    for (const auto& [sql, statement] : statements_)
        sqlite3_finalize(statement);
    sqlite3_close(connection_);
}

std::string database::problem_text(const char* when) const {
    const int code = connection_ == nullptr ? SQLITE_NOMEM : sqlite3_errcode(connection_) & 0xff;
    std::string text = path_ + " ";
    was_busy_ = code == SQLITE_BUSY || code == SQLITE_LOCKED;
    was_stopped_ = code == SQLITE_INTERRUPT;
    if (code == SQLITE_NOTADB || code == SQLITE_CORRUPT)
        return text +
               "is damaged or no database of the gateway; possible: put back a copy, or move it away to "
               "begin without tokens and locks";
    if (was_busy_)
        return text + "is being written by another program; possible: try again";
    if (code == SQLITE_CANTOPEN || code == SQLITE_READONLY || code == SQLITE_PERM)
        return text + "cannot be written by this user; possible: run it as root or as the owner of the state "
                      "directory, or name another with --state DIR";
    if (code == SQLITE_FULL)
        return text + when + ": the disk is full";
    return text + when + ": " + (connection_ == nullptr ? "no memory" : sqlite3_errmsg(connection_));
}

sqlite3_stmt* database::prepared(const char* sql) {
    const auto known = statements_.find(sql);
    if (known != statements_.end())
        return known->second;
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(connection_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK)
        return nullptr;
    statements_.emplace(sql, statement);
    return statement;
}

bool database::run(const char* sql, std::span<const sql_value> values,
                   const std::function<void(const sql_row&)>& each, std::string* problem) {
    sqlite3_stmt* const statement = prepared(sql);
    if (statement == nullptr) {
        *problem = problem_text("cannot be used");
        return false;
    }
    const reset_at_end reset{statement};
    int place = 0;
    for (const sql_value& value : values)
        if (bind(statement, ++place, value) != SQLITE_OK) {
            *problem = problem_text("cannot be used");
            return false;
        }
    int result = sqlite3_step(statement);
    for (; result == SQLITE_ROW; result = sqlite3_step(statement))
        if (each)
            each(sql_row(statement));
    if (result == SQLITE_DONE)
        return true;
    *problem = problem_text("cannot be used");
    return false;
}

void database::wait_no_more() {
    sqlite3_busy_timeout(connection_, 0);
}

void database::keep_place() {
    struct stat found {};
    if (stat(path_.c_str(), &found) != 0)
        return;
    device_ = found.st_dev;
    inode_ = found.st_ino;
}

bool database::is_in_place() const {
    struct stat found {};
    return inode_ == 0 ||
           (stat(path_.c_str(), &found) == 0 && found.st_dev == device_ && found.st_ino == inode_);
}

std::string database::place_problem() const {
    return path_ + " was removed or replaced while it was in use: nothing is written, and what was known "
                   "goes on; possible: put the same file back, or start the gateway anew with what is there";
}

std::string database::read_only_problem() const {
    if (sqlite3_db_readonly(connection_, "main") != 1)
        return {};
    return path_ +
           " can only be read: what it holds goes on, and nothing is written; possible: let the gateway's "
           "user write the state directory, and start the gateway anew";
}

// What SQLite itself cannot write is noted for the operator.
bool database::note_write(bool written, const std::string& problem) {
    if (!written && !was_busy_) {
        if (write_problem_.empty())
            rows_before_problem_ = sqlite3_total_changes64(connection_);
        write_problem_ = problem;
    } else if (written && sqlite3_get_autocommit(connection_) != 0 &&
               sqlite3_total_changes64(connection_) > rows_before_problem_) {
        write_problem_.clear();
    }
    return written;
}

void database::probe_writing() {
    std::int64_t version = 0;
    std::string problem;
    if (write_problem_.empty() || !is_in_place() || !number("PRAGMA user_version", &version, &problem))
        return;
    const std::string same = "BEGIN IMMEDIATE; PRAGMA user_version = " + std::to_string(version);
    const bool written = script(same.c_str(), &problem) && end_transaction("COMMIT", &problem);
    if (written)
        write_problem_.clear();
    else if (sqlite3_get_autocommit(connection_) == 0)
        end_transaction("ROLLBACK", &problem);
}

bool database::change(const char* sql, std::initializer_list<sql_value> values, std::string* problem) {
    if (!is_in_place()) {
        *problem = place_problem();
        return false;
    }
    return note_write(run(sql, {values.begin(), values.size()}, nullptr, problem), *problem);
}

bool database::end_transaction(const char* sql, std::string* problem) {
    return run(sql, {}, nullptr, problem);
}

bool database::read(const char* sql, std::initializer_list<sql_value> values,
                    const std::function<void(const sql_row&)>& each, std::string* problem) {
    return run(sql, {values.begin(), values.size()}, each, problem);
}

bool database::read_with(const char* sql, std::span<const sql_value> values,
                         const std::function<void(const sql_row&)>& each, std::string* problem) {
    return run(sql, values, each, problem);
}

void database::stop_after(std::uint64_t ms) {
    stop_at_ms_ = ms == 0 ? 0 : clock_ms() + ms;
    sqlite3_progress_handler(connection_, steps_between_looks, ms == 0 ? nullptr : is_over, &stop_at_ms_);
}

// All pages in one step: a writer in between would make SQLite begin anew.
bool database::copy_to(const std::string& path, std::string* problem) {
    const auto copy = open(path, 0, problem);
    if (!copy)
        return false;
    sqlite3_backup* const work = sqlite3_backup_init(copy->connection_, "main", connection_, "main");
    const int stepped = work == nullptr ? SQLITE_ERROR : sqlite3_backup_step(work, -1);
    sqlite3_backup_finish(work);
    if (stepped == SQLITE_DONE)
        return true;
    *problem = copy->problem_text("cannot be copied to");
    return false;
}

bool database::script(const char* sql, std::string* problem) {
    if (sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr) == SQLITE_OK)
        return true;
    *problem = problem_text("cannot be used");
    return false;
}

bool database::transaction(const std::function<bool()>& steps, std::string* problem) {
    if (!change("BEGIN IMMEDIATE", {}, problem))
        return false;
    if (steps() && note_write(end_transaction("COMMIT", problem), *problem))
        return true;
    std::string ignored; // of a transaction that has already ended by itself
    const bool was_busy = was_busy_;
    if (sqlite3_get_autocommit(connection_) == 0)
        end_transaction("ROLLBACK", &ignored);
    was_busy_ = was_busy;
    return false;
}

bool database::number(const char* sql, std::int64_t* value, std::string* problem) {
    return read(
        sql, {}, [value](const sql_row& row) { *value = row.number(0); }, problem);
}

std::int64_t database::last_id() const {
    return sqlite3_last_insert_rowid(connection_);
}

std::int64_t database::changed_rows() const {
    return sqlite3_changes64(connection_);
}

} // namespace gateway
