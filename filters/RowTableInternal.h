// Per-channel storage of the filter blocks: one zeroed allocation of
// rows x cols elements with a table of row pointers into it, so that row c
// is channel c's array. Internal to the library.
#pragma once

#include <cstddef>
#include <cstdlib>

namespace hvfx {

// A zeroed rows x cols block and its row table (rows >= 1, cols >= 1; the
// caller has checked that rows * cols fits). Release with FreeRowTable.
template <class T>
T** AllocRowTable(int rows, int cols) {
  T** table = static_cast<T**>(std::calloc(static_cast<std::size_t>(rows), sizeof(T*)));
  T* block = static_cast<T*>(std::calloc(static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols), sizeof(T)));
  for (int r = 0; r < rows; ++r) table[r] = block + static_cast<std::ptrdiff_t>(r) * cols;
  return table;
}

// Frees the block and its table (nothing if null) and nulls the pointer.
template <class T>
void FreeRowTable(T**& table) {
  if (table == nullptr) return;
  std::free(table[0]);
  std::free(table);
  table = nullptr;
}

}  // namespace hvfx
