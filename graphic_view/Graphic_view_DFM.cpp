// Results of the DFM repairs: the DFM menu sends what each repair changed
// or could not change in the same form as the analysis results, and the
// view shows and steps through them alike (Graphic_view_Analyze.cpp).
#include "AnalysisMessages.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

void ViewWidget::get_DFM_data(PluginMetaData msg) {
    using namespace AnalysisMessages;
    handleResultRequest(msg, kDfmNext, kDfmPrevious, kDfmGoTo);
}

}  // namespace GRAPHIC
}  // namespace TOLVA
