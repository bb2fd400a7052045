#include "checks/common_cache.h"

namespace KESTO {
namespace Cache {

common_cache* common_cache::instance()
{
    static common_cache* cache = nullptr;
    if (!cache) cache = new common_cache();
    return cache;
}

void common_cache::setDrillResult(const API::drill_result& r) { drill_ = r; }
API::drill_result common_cache::getDrillResult() { return drill_; }
void common_cache::setSignalResult(const API::signal_result& r) { signal_ = r; }
API::signal_result common_cache::getSignalResult() { return signal_; }
void common_cache::setSolderMaskResult(const API::solder_mask_result& r) { solder_mask_ = r; }
API::solder_mask_result common_cache::getSolderMaskResult() { return solder_mask_; }
void common_cache::setSilkResult(const API::silk_screen_result& r) { silk_ = r; }
API::silk_screen_result common_cache::getSilkResult() { return silk_; }
void common_cache::setOkCheckResult(const std::string& r) { ok_check_ = r; }
std::string common_cache::getOkCheckResult() { return ok_check_; }
void common_cache::setMrcCheckResult(const API::mrc_result& r) { mrc_ = r; }
API::mrc_result common_cache::getMrcCheckResult() { return mrc_; }
void common_cache::setPrepareCheckResult(const API::prepare_result& r) { prepare_ = r; }
API::prepare_result common_cache::getPrepareCheckResult() { return prepare_; }
void common_cache::setBoadDrillResult(const API::board_drill_result& r) { board_drill_ = r; }
API::board_drill_result common_cache::getBoardDrillResult() { return board_drill_; }

} // namespace Cache
} // namespace KESTO
