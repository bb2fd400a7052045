// The latest result of each kind of check, kept for the life of the library
// so that later commands can page, filter and export it without running the
// check again. Hosts may use it directly.
#pragma once
#include "adaptor/exports.h"
#include "engine/drc/check_records.h"

#include <string>

namespace KESTO {
namespace Cache {

class KESTO_EXPORT common_cache {
public:
    // The one instance, created empty on first use and never destroyed.
    static common_cache* instance();

    common_cache() = default;
    common_cache(const common_cache&) = default;
    common_cache& operator=(const common_cache&) = default;

    void setDrillResult(const API::drill_result& result);
    API::drill_result getDrillResult();
    void setSignalResult(const API::signal_result& result);
    API::signal_result getSignalResult();
    void setSolderMaskResult(const API::solder_mask_result& result);
    API::solder_mask_result getSolderMaskResult();
    void setSilkResult(const API::silk_screen_result& result);
    API::silk_screen_result getSilkResult();
    void setOkCheckResult(const std::string& result);
    std::string getOkCheckResult();
    void setMrcCheckResult(const API::mrc_result& result);
    API::mrc_result getMrcCheckResult();
    void setPrepareCheckResult(const API::prepare_result& result);
    API::prepare_result getPrepareCheckResult();
    // Hosts call the setter by this name, without the "r".
    void setBoadDrillResult(const API::board_drill_result& result);
    API::board_drill_result getBoardDrillResult();

private:
    API::drill_result drill_;
    API::signal_result signal_;
    API::solder_mask_result solder_mask_;
    API::silk_screen_result silk_;
    std::string ok_check_;
    API::mrc_result mrc_;
    API::prepare_result prepare_;
    API::board_drill_result board_drill_;
};

} // namespace Cache
} // namespace KESTO
