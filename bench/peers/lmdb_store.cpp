// SPDX-License-Identifier: MIT
// See lmdb_store.h.
#include "peers/lmdb_store.h"

namespace bench {

RLmdb::RLmdb(std::uint32_t n, Tags tags) {
  static int count = 0;
  const std::string path = "/dev/shm/sntr_bench.lmdb." + std::to_string(getpid()) + "." + std::to_string(++count);
  constexpr unsigned kFlags = MDB_NOSUBDIR | MDB_NOSYNC | MDB_NOMETASYNC | MDB_WRITEMAP | MDB_MAPASYNC | MDB_NOTLS;
  require(mdb_env_create(&environment_) == 0, "creating an LMDB environment");
  bool fine = mdb_env_set_mapsize(environment_, std::size_t{64} << 20) == 0;
  fine = fine && mdb_env_open(environment_, path.c_str(), kFlags, 0600) == 0;
  unlink(path.c_str());
  unlink((path + "-lock").c_str());
  MDB_txn *writer = nullptr;
  fine = fine && mdb_txn_begin(environment_, nullptr, 0, &writer) == 0;
  fine = fine && mdb_dbi_open(writer, nullptr, MDB_INTEGERKEY | MDB_CREATE, &table_) == 0;
  for (std::uint32_t i = 0; fine && i < n; ++i) fine = put(writer, keyOf(i, tags)) == 0;
  fine = fine && mdb_txn_commit(writer) == 0;
  fine = fine && mdb_txn_begin(environment_, nullptr, MDB_RDONLY, &reader_) == 0;
  require(fine, "filling an LMDB table");
  mdb_txn_reset(reader_);
}

RLmdb::~RLmdb() {
  mdb_txn_abort(reader_);
  mdb_env_close(environment_);
}

}  // namespace bench
