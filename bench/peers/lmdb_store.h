// SPDX-License-Identifier: MIT
// LMDB without any sync, in memory: its two files are in /dev/shm, and their names are removed at once. It has integer
// keys and a written map. A read transaction is reset and renewed for each read, as its documentation advises for
// speed.
//
// Thread safety: one thread uses a store.
#pragma once

#include <lmdb.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "support/r_stores.h"
#include "support/work.h"

namespace bench {

class RLmdb {
 public:
  explicit RLmdb(std::uint32_t n, Tags tags = Tags::Dense);
  RLmdb(const RLmdb &) = delete;
  RLmdb &operator=(const RLmdb &) = delete;
  ~RLmdb();

  std::uint64_t get(Key key) {
    std::size_t tag = key.tag;
    MDB_val name = {sizeof tag, &tag};
    MDB_val found;
    std::int32_t value = 0;
    int rc = mdb_txn_renew(reader_);
    rc |= mdb_get(reader_, table_, &name, &found);
    if (rc == 0) std::memcpy(&value, found.mv_data, sizeof value);
    mdb_txn_reset(reader_);
    return answer(static_cast<std::uint32_t>(rc), value, key);
  }

  std::uint64_t set(Key key) {
    MDB_txn *writer = nullptr;
    if (mdb_txn_begin(environment_, nullptr, 0, &writer) != 0) return 1;
    const int rc = put(writer, key);
    return static_cast<std::uint32_t>(rc | mdb_txn_commit(writer));
  }

 private:
  int put(MDB_txn *writer, Key key) {
    std::size_t tag = key.tag;
    std::int32_t value = valueOf(key);
    MDB_val name = {sizeof tag, &tag};
    MDB_val data = {sizeof value, &value};
    return mdb_put(writer, table_, &name, &data, 0);
  }

  MDB_env *environment_ = nullptr;
  MDB_txn *reader_ = nullptr;
  MDB_dbi table_ = 0;
};

}  // namespace bench
