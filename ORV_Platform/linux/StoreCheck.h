// Whether the file of an LMDB environment is as LMDB makes it, page by page.
//
// LMDB trusts its file: on a damaged one it ends the process, runs in circles or hands out what is in other pages. So
// the file is looked at before LMDB is let at it. The form is that of LMDB 0.9 (version 1 of the file) on the machine
// that runs this; LMDB makes it no other way, and a later version of the file is refused by its number.
//
// Every page of every table and of the list of free pages is visited once: its place, its kind, the bounds and the
// order of what is in it, the counts that the tables keep; and that no page belongs to two tables, or to one and the
// free ones. What the records say is not looked at.
#ifndef ORV_LINUX_STORECHECK_H
#define ORV_LINUX_STORECHECK_H

#include <cstddef>
#include <string_view>

namespace orv {

// The two pages that say where everything is: a file in which they are damaged must not even be opened. True as well
// for a file that is too short to have both, about which LMDB says what is to be said. `maxBytes` is the largest file
// there can be.
bool hasSoundHead(int descriptor, size_t maxBytes);

// All of the file as it was after the transaction `transactionId`. `file` is the whole of it, mapped; nothing may
// change it meanwhile but by transactions that leave that state alone. Pages at its end that are free may be missing:
// they were taken and given back before anything was written there. `maxBytes` as above.
bool isSoundStore(std::string_view file, size_t maxBytes, size_t transactionId);

}  // namespace orv

#endif
