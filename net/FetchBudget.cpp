#include "net/FetchBudget.h"

namespace quillmoria {
namespace {

constinit thread_local FetchBudget* current = nullptr;

}  // namespace

bool FetchBudget::admits(std::size_t bytes) { return !current || current->admit(bytes); }

void FetchBudget::claim(std::size_t bytes) {
  if (current) current->take(bytes);
}

FetchBudget::Membership::Membership(FetchBudget& budget) { current = &budget; }

FetchBudget::Membership::~Membership() { current = nullptr; }

}  // namespace quillmoria
