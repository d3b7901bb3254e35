// Makes allocations with operator new fail. A suite that wants it links failing_new.cpp, which
// replaces the program's operator new; a framework library may have one of its own.
#pragma once

namespace support {

// While it lives, the allocation of this thread that follows `after` successful ones throws
// std::bad_alloc, once.
class FailAllocation {
 public:
  explicit FailAllocation(int after) noexcept;
  ~FailAllocation();

  // Whether an allocation has been made to fail.
  [[nodiscard]] bool Happened() const noexcept;
  FailAllocation(const FailAllocation&) = delete;
  FailAllocation& operator=(const FailAllocation&) = delete;
};

// Lets nothing of this thread fail until Resume() takes what Suspend() gave.
int Suspend() noexcept;
void Resume(int allowed) noexcept;

// The two for a scope: for what a test itself remembers meanwhile.
class SpareAllocations {
 public:
  SpareAllocations() noexcept : allowed_(Suspend()) {}
  ~SpareAllocations() { Resume(allowed_); }
  SpareAllocations(const SpareAllocations&) = delete;
  SpareAllocations& operator=(const SpareAllocations&) = delete;

 private:
  const int allowed_;
};

// While it lives, every array that is asked for with the form that throws nothing is refused.
class RefuseArrays {
 public:
  RefuseArrays() noexcept;
  ~RefuseArrays();
  RefuseArrays(const RefuseArrays&) = delete;
  RefuseArrays& operator=(const RefuseArrays&) = delete;
};

// While it lives, no thread gets memory that is to start at a page or a multiple of one, which is
// what slabs of small blocks are made of.
class RefuseAligned {
 public:
  RefuseAligned() noexcept;
  ~RefuseAligned();
  RefuseAligned(const RefuseAligned&) = delete;
  RefuseAligned& operator=(const RefuseAligned&) = delete;
};

// While it lives, this thread gets no other.
class RefuseUnaligned {
 public:
  RefuseUnaligned() noexcept;
  ~RefuseUnaligned();
  RefuseUnaligned(const RefuseUnaligned&) = delete;
  RefuseUnaligned& operator=(const RefuseUnaligned&) = delete;
};

}  // namespace support
