#include "imaging/row_store.h"

#include <thread>

#include "tests/imaging/pipeline_harness.h"

namespace scantk::testing {
namespace {

// Memory that one store leaves behind serves the next, of other row sizes and on other threads.
TEST(RowStore, HoldsItsOwnRowsWhateverWasThereBefore) {
  const auto pages = [](uint32_t seed) {
    for (const size_t row_bytes : {size_t{1}, size_t{7440}, size_t{1500000}, size_t{500000}}) {
      const size_t rows = row_bytes < 10000 ? 300 : 3;
      const Bytes image = RandomBytes(row_bytes * rows, seed);
      RowStore store;
      for (int round = 0; round < 2; ++round) {
        store.Reset(row_bytes);
        for (size_t i = 0; i < rows; ++i) ASSERT_TRUE(store.Append(image.data() + i * row_bytes));
        ASSERT_EQ(store.rows(), rows);
        for (size_t i = 0; i < rows; ++i) {
          ASSERT_EQ(std::memcmp(store.Row(i), image.data() + i * row_bytes, row_bytes), 0) << i;
        }
      }
    }
  };
  std::vector<std::thread> threads;
  for (uint32_t seed = 0; seed < 4; ++seed) threads.emplace_back(pages, seed);
  for (std::thread& thread : threads) thread.join();
}

TEST(RowStore, KeepsNoMoreThanItMay) {
  RowStore store(size_t{4} << 20);
  for (const auto& [row_bytes, most] : {std::pair{1000000, 4}, {2 << 20, 2}}) {
    const Bytes row(static_cast<size_t>(row_bytes), 7);
    store.Reset(row.size());
    for (int i = 0; i < most; ++i) ASSERT_TRUE(store.Append(row.data()));
    EXPECT_FALSE(store.Append(row.data()));
    EXPECT_EQ(store.rows(), static_cast<size_t>(most));
  }
}

}  // namespace
}  // namespace scantk::testing
