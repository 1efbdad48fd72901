#include "StoreCheck.h"

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace orv {
namespace {

// --- The form of the file; numbers are the machine's own -------------------------------------------------------------

using PageNumber = size_t;

constexpr PageNumber NO_PAGE = std::numeric_limits<PageNumber>::max();  // the root of an empty table
constexpr PageNumber FIRST_PAGE = 2;                                    // behind the two of the head
constexpr uint32_t MAGIC = 0xBEEFC0DE;
constexpr uint32_t VERSION = 1;
constexpr uint32_t FIXED_MAP = 0x01;

enum PageFlags : uint16_t { BRANCH = 0x01, LEAF = 0x02, OVERFLOWN = 0x04, META = 0x08 };
enum NodeFlags : uint16_t { BIG_DATA = 0x01, SUB_TABLE = 0x02 };

struct PageHead {
  PageNumber number;
  uint16_t pad;
  uint16_t flags;
  uint16_t lower;  // these two together are the count of an overflow page
  uint16_t upper;
};

struct NodeHead {
  uint16_t low;  // of the size of the record, or the number of the page below
  uint16_t high;
  uint16_t flags;
  uint16_t keyBytes;
};

struct TableHead {
  uint32_t pad;  // of the list of free pages: the size of a page
  uint16_t flags;
  uint16_t depth;
  PageNumber branchPages;
  PageNumber leafPages;
  PageNumber overflowPages;
  size_t entries;
  PageNumber root;
};

struct Head {
  uint32_t magic;
  uint32_t version;
  void *address;
  size_t mapBytes;
  TableHead freePages;
  TableHead main;
  PageNumber lastPage;
  size_t transactionId;
};

constexpr size_t PAGE_HEAD_BYTES = sizeof(PageHead);
constexpr size_t NODE_HEAD_BYTES = sizeof(NodeHead);
static_assert(PAGE_HEAD_BYTES == sizeof(size_t) + 8);
static_assert(NODE_HEAD_BYTES == 8);
static_assert(sizeof(TableHead) == 8 + 5 * sizeof(size_t));
static_assert(sizeof(Head) == 8 + 4 * sizeof(size_t) + 2 * sizeof(TableHead));

constexpr size_t MAX_KEY_BYTES = 511;
constexpr int MAX_DEPTH = 32;

template <typename Part>
Part partAt(std::string_view bytes, size_t offset) {
  Part part;
  std::memcpy(&part, bytes.data() + offset, sizeof part);
  return part;
}

bool isPageSize(size_t bytes) {
  constexpr size_t SMALLEST = 512;
  constexpr size_t LARGEST = 32UL * 1024;
  return bytes >= SMALLEST && bytes <= LARGEST && (bytes & (bytes - 1)) == 0;
}

// What LMDB works with before it looks at anything else.
bool isSoundHead(std::string_view page, size_t pageBytes, size_t maxBytes) {
  const Head head = partAt<Head>(page, PAGE_HEAD_BYTES);
  if (head.magic == MAGIC && head.version != VERSION) return true;  // LMDB looks at that first, and says so
  return (partAt<PageHead>(page, 0).flags & META) != 0 && head.magic == MAGIC && head.freePages.pad == pageBytes &&
         (head.freePages.flags & FIXED_MAP) == 0 && head.mapBytes <= maxBytes && head.lastPage < maxBytes / pageBytes;
}

// --- The tables ------------------------------------------------------------------------------------------------------

// How the keys of a table are ordered.
enum class Order : uint8_t { BYTES, NUMBERS };

bool isBefore(std::string_view one, std::string_view other, Order order) {
  if (order == Order::BYTES) return one < other;
  return partAt<size_t>(one, 0) < partAt<size_t>(other, 0);
}

struct Node {
  size_t offset = 0;  // in its page
  size_t bytes = 0;   // that it takes there
  uint16_t flags = 0;
  PageNumber child = 0;  // in a branch
  std::string_view key;
  std::string_view record;  // in a leaf
};

// The keys that a page may have: from the first on, before the second. Nothing is no limit.
struct Range {
  std::optional<std::string_view> from;
  std::optional<std::string_view> before;
};

class Checker {
 public:
  Checker(std::string_view file, size_t pageBytes, PageNumber lastPage)
      : file_(file), pageBytes_(pageBytes), taken_(lastPage + 1) {}

  // Visit(node) is called for every record of the table and tells whether it is sound.
  template <typename Visit>
  bool isSoundTable(const TableHead &table, Order order, Visit visit) {
    Count count;
    if (table.root == NO_PAGE) return table.entries == 0 && table.depth == 0;
    if (!isSoundTree(table.root, 1, table.depth, order, {}, count, visit)) return false;
    return count.branchPages == table.branchPages && count.leafPages == table.leafPages &&
           count.overflowPages == table.overflowPages && count.entries == table.entries;
  }

  // A list of free pages: how many there are, and their numbers, the largest first.
  bool takeFreePages(std::string_view record) {
    if (record.size() < sizeof(size_t)) return false;
    const auto count = partAt<size_t>(record, 0);
    if (count > record.size() / sizeof(size_t) - 1) return false;
    PageNumber last = NO_PAGE;
    for (size_t i = 1; i <= count; ++i) {
      const auto page = partAt<PageNumber>(record, i * sizeof(size_t));
      if (page >= last || !take(page)) return false;
      last = page;
    }
    return true;
  }

 private:
  struct Count {
    size_t branchPages = 0;
    size_t leafPages = 0;
    size_t overflowPages = 0;
    size_t entries = 0;
  };

  // False where there is no such page, and where somebody else has it.
  bool take(PageNumber page) {
    if (page < FIRST_PAGE || page >= taken_.size() || taken_[page]) return false;
    taken_[page] = true;
    return true;
  }

  std::string_view pageAt(PageNumber page) const {
    const size_t offset = page * pageBytes_;
    return offset + pageBytes_ <= file_.size() ? file_.substr(offset, pageBytes_) : std::string_view();
  }

  // The record of a big node, which has pages of its own.
  bool takeOverflow(std::string_view page, size_t offset, size_t bytes, std::string_view &record) {
    const auto first = partAt<PageNumber>(page, offset);
    if (bytes > file_.size()) return false;
    const size_t pages = (PAGE_HEAD_BYTES - 1 + bytes) / pageBytes_ + 1;
    for (size_t i = 0; i < pages; ++i) {
      if (!take(first + i)) return false;
    }
    const std::string_view head = pageAt(first);
    if (head.empty() || first * pageBytes_ + PAGE_HEAD_BYTES + bytes > file_.size()) return false;
    const auto parts = partAt<PageHead>(head, 0);
    const size_t said = parts.lower | static_cast<size_t>(parts.upper) << 16;
    record = file_.substr(first * pageBytes_ + PAGE_HEAD_BYTES, bytes);
    return parts.number == first && parts.flags == OVERFLOWN && said == pages;
  }

  bool readNode(std::string_view page, size_t offset, bool isLeaf, Node &node, Count &count) {
    if (offset + NODE_HEAD_BYTES > page.size()) return false;
    const auto head = partAt<NodeHead>(page, offset);
    const size_t number = head.low | static_cast<size_t>(head.high) << 16;
    const size_t keyEnd = offset + NODE_HEAD_BYTES + head.keyBytes;
    if (head.keyBytes > MAX_KEY_BYTES || keyEnd > page.size()) return false;
    node.offset = offset;
    node.key = page.substr(offset + NODE_HEAD_BYTES, head.keyBytes);
    size_t end = keyEnd;
    if (!isLeaf) {
      // On a machine of 64 bits the flags are the upper part of the number.
      const uint64_t wide = number | static_cast<uint64_t>(head.flags) << 32;
      node.child = sizeof(PageNumber) > sizeof(uint32_t) ? static_cast<PageNumber>(wide) : number;
    } else if (node.flags = head.flags; node.flags == BIG_DATA) {
      end += sizeof(PageNumber);
      if (end > page.size() || !takeOverflow(page, keyEnd, number, node.record)) return false;
      count.overflowPages += (PAGE_HEAD_BYTES - 1 + number) / pageBytes_ + 1;
    } else {
      end += number;
      if ((node.flags != 0 && node.flags != SUB_TABLE) || number > page.size() || end > page.size()) return false;
      node.record = page.substr(keyEnd, number);
    }
    node.bytes = (end - offset + 1) & ~size_t{1};
    return true;
  }

  // The nodes of a page, which together fill it from `upper` on.
  bool readNodes(std::string_view page, const PageHead &head, std::vector<Node> &nodes, Count &count) {
    if (head.lower <= PAGE_HEAD_BYTES || head.lower > head.upper || head.upper > page.size()) return false;
    if ((head.lower - PAGE_HEAD_BYTES) % sizeof(uint16_t) != 0) return false;
    nodes.resize((head.lower - PAGE_HEAD_BYTES) / sizeof(uint16_t));
    std::vector<std::pair<size_t, size_t>> places;
    places.reserve(nodes.size());
    for (size_t i = 0; i < nodes.size(); ++i) {
      const auto offset = partAt<uint16_t>(page, PAGE_HEAD_BYTES + i * sizeof(uint16_t));
      if (!readNode(page, offset, head.flags == LEAF, nodes[i], count)) return false;
      places.emplace_back(nodes[i].offset, nodes[i].bytes);
    }
    std::sort(places.begin(), places.end());
    size_t end = head.upper;
    for (const auto &[offset, bytes] : places) {
      if (offset != end) return false;
      end += bytes;
    }
    return end == page.size();
  }

  // The first key of a branch is not used and may be anything.
  static bool areInOrder(const std::vector<Node> &nodes, bool isLeaf, Order order, const Range &range) {
    for (size_t i = isLeaf ? 0 : 1; i < nodes.size(); ++i) {
      const std::string_view key = nodes[i].key;
      if (key.empty() || (order == Order::NUMBERS && key.size() != sizeof(size_t))) return false;
      if (range.from && isBefore(key, *range.from, order)) return false;
      if (range.before && !isBefore(key, *range.before, order)) return false;
      if (i > (isLeaf ? 0U : 1U) && !isBefore(nodes[i - 1].key, key, order)) return false;
    }
    return true;
  }

  template <typename Visit>
  bool isSoundTree(PageNumber number, int depth, int leafDepth, Order order, const Range &range, Count &count,
                   Visit visit) {
    if (depth > leafDepth || depth > MAX_DEPTH || !take(number)) return false;
    const std::string_view page = pageAt(number);
    if (page.empty()) return false;
    const auto head = partAt<PageHead>(page, 0);
    const bool isLeaf = depth == leafDepth;
    if (head.number != number || head.flags != (isLeaf ? LEAF : BRANCH)) return false;
    std::vector<Node> nodes;
    if (!readNodes(page, head, nodes, count) || !areInOrder(nodes, isLeaf, order, range)) return false;
    ++(isLeaf ? count.leafPages : count.branchPages);
    if (isLeaf) {
      count.entries += nodes.size();
      return std::all_of(nodes.begin(), nodes.end(), visit);
    }
    for (size_t i = 0; i < nodes.size(); ++i) {
      const Range below = {i == 0 ? range.from : std::optional(nodes[i].key),
                           i + 1 < nodes.size() ? std::optional(nodes[i + 1].key) : range.before};
      if (!isSoundTree(nodes[i].child, depth + 1, leafDepth, order, below, count, visit)) return false;
    }
    return true;
  }

  std::string_view file_;
  size_t pageBytes_;
  std::vector<bool> taken_;
};

bool isSoundState(std::string_view file, size_t maxBytes, const Head &head) {
  const size_t pageBytes = head.freePages.pad;
  if (!isPageSize(pageBytes) || head.lastPage >= maxBytes / pageBytes) return false;
  Checker checker(file, pageBytes, head.lastPage);
  const auto isPlain = [](const Node &node) { return node.flags != SUB_TABLE; };
  const auto isTable = [&](const Node &node) {
    // Whatever else somebody has put there is none of our tables.
    if (node.flags != SUB_TABLE) return true;
    if (node.record.size() != sizeof(TableHead)) return false;
    const auto table = partAt<TableHead>(node.record, 0);
    return table.flags == 0 && checker.isSoundTable(table, Order::BYTES, isPlain);
  };
  const auto isFreeList = [&](const Node &node) { return isPlain(node) && checker.takeFreePages(node.record); };
  return checker.isSoundTable(head.main, Order::BYTES, isTable) &&
         checker.isSoundTable(head.freePages, Order::NUMBERS, isFreeList);
}

}  // namespace

bool hasSoundHead(int descriptor, size_t maxBytes) {
  constexpr size_t HEAD_BYTES = PAGE_HEAD_BYTES + sizeof(Head);
  char first[HEAD_BYTES];
  char second[HEAD_BYTES];
  if (pread(descriptor, first, HEAD_BYTES, 0) != static_cast<ssize_t>(HEAD_BYTES)) return true;
  const std::string_view firstPage(first, HEAD_BYTES);
  const size_t pageBytes = partAt<Head>(firstPage, PAGE_HEAD_BYTES).freePages.pad;
  if (!isSoundHead(firstPage, pageBytes, maxBytes)) return false;
  if (!isPageSize(pageBytes)) return partAt<Head>(firstPage, PAGE_HEAD_BYTES).version != VERSION;
  const ssize_t got = pread(descriptor, second, HEAD_BYTES, static_cast<off_t>(pageBytes));
  if (got != static_cast<ssize_t>(HEAD_BYTES)) return true;
  return isSoundHead(std::string_view(second, HEAD_BYTES), pageBytes, maxBytes);
}

bool isSoundStore(std::string_view file, size_t maxBytes, size_t transactionId) {
  if (file.size() < PAGE_HEAD_BYTES + sizeof(Head)) return false;
  const size_t pageBytes = partAt<Head>(file, PAGE_HEAD_BYTES).freePages.pad;
  if (!isPageSize(pageBytes) || file.size() < FIRST_PAGE * pageBytes) return false;
  for (const size_t offset : {size_t{0}, pageBytes}) {
    const auto head = partAt<Head>(file, offset + PAGE_HEAD_BYTES);
    if (head.transactionId == transactionId) return isSoundState(file, maxBytes, head);
  }
  return false;
}

}  // namespace orv
