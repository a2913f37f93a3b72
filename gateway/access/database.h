// One connection to an SQLite file. The only place that knows SQLite.
//
// Every function that may fail returns false (or null) and one sentence in *problem; nothing is written then.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>

struct sqlite3;
struct sqlite3_stmt;

namespace gateway {

struct blob {
    std::string_view bytes;
};
using sql_value = std::variant<std::int64_t, std::string_view, blob>;

// One row of an answer; columns are 0-based. Valid during the call that hands it over.
class sql_row {
public:
    explicit sql_row(sqlite3_stmt* statement) : statement_(statement) {}
    std::int64_t number(int column) const;
    std::string text(int column) const; // a blob, too

private:
    sqlite3_stmt* statement_;
};

class database {
public:
    // Opens or makes the file, readable by its owner alone. busy_ms: how long to wait for other writers.
    static std::unique_ptr<database> open(const std::string& path, int busy_ms, std::string* problem);
    ~database();
    database(const database&) = delete;
    database& operator=(const database&) = delete;

    // `sql` is one statement with a ? for each value. It is prepared once and kept: use constant texts.
    bool change(const char* sql, std::initializer_list<sql_value> values, std::string* problem);
    bool read(const char* sql, std::initializer_list<sql_value> values,
              const std::function<void(const sql_row&)>& each, std::string* problem);
    // The same for values whose number is not fixed. The text lives as long as the database.
    bool read_with(const char* sql, std::span<const sql_value> values,
                   const std::function<void(const sql_row&)>& each, std::string* problem);

    // Whatever reads from now on for longer than `ms` is stopped, and fails. 0: nothing is.
    void stop_after(std::uint64_t ms);
    // True when the last problem was that time limit.
    bool was_stopped() const {
        return was_stopped_;
    }

    // Copies the whole database, as it is at one moment, into a file that is not there yet or is empty.
    // Others may write meanwhile.
    bool copy_to(const std::string& path, std::string* problem);

    // Any number of statements, without values and answers.
    bool script(const char* sql, std::string* problem);

    // All that `steps` writes, or nothing of it: when it returns false, or the disk refuses. On the disk when
    // this returns true. Other writers are kept out from its beginning.
    bool transaction(const std::function<bool()>& steps, std::string* problem);

    // The first number of the first row; *value stays as it was when there is no row.
    bool number(const char* sql, std::int64_t* value, std::string* problem);

    // The last problem since forget_busy() was that another program writes.
    bool was_busy() const {
        return was_busy_;
    }
    void forget_busy() {
        was_busy_ = false;
    }
    // From now on nothing waits for another writer: it fails at once, and was_busy().
    void wait_no_more();

    // The file that is open now is the one that has to stay at its path: from here on nothing is written to
    // one that was removed or replaced.
    void keep_place();
    bool is_in_place() const;
    std::string place_problem() const;

    // It could only be opened to be read, and stays so for as long as it is open. A sentence; "" when not.
    std::string read_only_problem() const;

    // Why the last write failed, other than for another writer; "" since something was written again.
    const std::string& write_problem() const {
        return write_problem_;
    }
    // Writes nothing new, to see whether it would work.
    void probe_writing();

    std::int64_t last_id() const;      // of the last row added
    std::int64_t changed_rows() const; // by the last change

    const std::string& path() const {
        return path_;
    }

private:
    database(std::string path, sqlite3* connection) : path_(std::move(path)), connection_(connection) {}
    std::string problem_text(const char* when) const;
    bool end_transaction(const char* sql, std::string* problem);
    bool note_write(bool written, const std::string& problem);
    sqlite3_stmt* prepared(const char* sql);
    bool run(const char* sql, std::span<const sql_value> values,
             const std::function<void(const sql_row&)>& each, std::string* problem);

    std::string path_;
    sqlite3* connection_;
    mutable bool was_busy_ = false; // noted with each problem
    mutable bool was_stopped_ = false;
    std::uint64_t stop_at_ms_ = 0; // of the steady clock; 0: never
    std::string write_problem_;
    std::int64_t rows_before_problem_ = 0; // written by this connection until then
    std::uint64_t device_ = 0, inode_ = 0; // of the file that has to stay; 0: any
    std::map<std::string_view, sqlite3_stmt*> statements_;
};

} // namespace gateway
