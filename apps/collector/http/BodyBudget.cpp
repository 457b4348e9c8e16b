#include "collector/http/BodyBudget.h"

namespace zentara::collector {

BodyBudget::Share::~Share() {
    budget_->left_ += bytes_;
}

bool BodyBudget::Share::growTo(std::size_t bytes) {
    if (bytes <= bytes_) return true;
    const std::size_t more = bytes - bytes_;
    std::size_t left = budget_->left_;
    do {
        if (more > left) return false;
    } while (!budget_->left_.compare_exchange_weak(left, left - more));
    bytes_ = bytes;
    return true;
}

}  // namespace zentara::collector
