// SQLite: a blob in a database of one row, written and read in parts; a cache of 4000 KB, and no journal.
#include "store_rows.h"

#include <sqlite3.h>

namespace {

using namespace bench;

class Store {
  public:
    static constexpr int Piece = PieceSize;
    explicit Store(const Job& job) : path(job.dir + "/sqlite") {
        std::remove(path.c_str());
        Check(sqlite3_open(path.c_str(), &db) == SQLITE_OK, "sqlite: open");
        Do("PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; PRAGMA locking_mode=EXCLUSIVE");
        Do("PRAGMA cache_size=-" + std::to_string(DefaultCacheKb));
        Do("CREATE TABLE t(b BLOB); INSERT INTO t VALUES(zeroblob(" + std::to_string(job.size) + ")); BEGIN");
        Check(sqlite3_blob_open(db, "main", "t", "b", 1, 1, &blob) == SQLITE_OK, "sqlite: open the blob");
    }
    ~Store() {
        sqlite3_blob_close(blob);
        sqlite3_close(db);
        std::remove(path.c_str());
    }
    void Write(std::int64_t at, const char* bytes, int n) {
        Check(sqlite3_blob_write(blob, bytes, n, static_cast<int>(at)) == SQLITE_OK, "sqlite: write");
    }
    void Read(std::int64_t at, char* dst, int n) {
        Check(sqlite3_blob_read(blob, dst, n, static_cast<int>(at)) == SQLITE_OK, "sqlite: read");
    }
    void WriteByte(std::int64_t at, char byte) { Write(at, &byte, 1); }
    char ReadByte(std::int64_t at) {
        char byte = 0;
        Read(at, &byte, 1);
        return byte;
    }
    void Flush() {
        sqlite3_blob_close(blob); // an open one holds the transaction
        Do("COMMIT; BEGIN");
        Check(sqlite3_blob_open(db, "main", "t", "b", 1, 1, &blob) == SQLITE_OK, "sqlite: open the blob");
        ReadByte(sqlite3_blob_bytes(blob) - 1); // finds all its pages, once
    }

  private:
    void Do(const std::string& sql) {
        Check(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, sql.c_str());
    }
    std::string path;
    sqlite3* db = nullptr;
    sqlite3_blob* blob = nullptr;
};

} // namespace

int main(int argc, char** argv) {
    return Main(argc, argv,
                {StoreRows<Store>(),
                 {{"replay", nullptr, "no insert into a blob"},
                  {"edit", nullptr, "no insert into a blob"},
                  {"append", SeqWrite<Store, 100>, ""},
                  {"read", SeqRead<Store>, ""}}});
}
