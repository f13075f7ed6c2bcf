#include "UI/CUiCreators.h"

#include "UI/Controls/CButton.h"
#include "UI/Controls/CButtonAB.h"
#include "UI/Controls/CControlArray.h"
#include "UI/Controls/CFrame.h"
#include "UI/Controls/CGradient.h"
#include "UI/Controls/CHistory.h"
#include "UI/Controls/CKnob.h"
#include "UI/Controls/CKnobLabels.h"
#include "UI/Controls/CPicture.h"
#include "UI/Controls/CPresetManager.h"
#include "UI/Controls/CScrollerBar.h"
#include "UI/Controls/CSelector.h"
#include "UI/Controls/CSelectorPalette.h"
#include "UI/Controls/CSelectorScale.h"
#include "UI/Controls/CReadOut.h"
#include "UI/Controls/CTextView.h"
#include "UI/Controls/CWindowDrag.h"
#include "UI/Lists/CDynListPresets.h"
#include "UI/Lists/CDynListValueList.h"
#include "UI/Lists/CValueList.h"
#include "UI/Lists/CValueListAudio.h"
#include "UI/Params/CParamBridgeAudio.h"
#include "UI/Params/CParamGroupSelector.h"
#include "UI/Params/CPluginControl.h"
#include "UI/Params/CUIParam.h"
#include "UI/Params/CUIParamController.h"
#include "UI/Resources/CBrushSetObject.h"
#include "UI/Resources/CColorSwatch.h"
#include "UI/Resources/CFontObject.h"
#include "UI/Resources/CImageSetObject.h"
#include "UI/Resources/CPaletteObject.h"
#include "UI/Views/CView.h"
#include "UI/Views/CViewColorSlot.h"
#include "UI/Views/CViewCommand.h"
#include "UI/Views/CViewState.h"
#include "UI/Views/CViewStateSwitch.h"
#include "UI/Windows/CFileDialog.h"
#include "UI/Windows/CWindow.h"
#include "UI/Windows/CWindowSharedData.h"

namespace kel
{

CError* CUiCreators::registerAll()
{
    static const CCreatorRow rows[] = {
        CCreatorRow::of<CBrushSetObject>("brushset"),
        CCreatorRow::of<CFontObject>("font"),
        CCreatorRow::of<CImageSetObject>("imageset"),
        CCreatorRow::of<CPaletteObject>("palette"),
        CCreatorRow::of<CColorSwatch>("ui:color-swatch"),
        CCreatorRow::of<CButtonAB>("ui:button-ab"),
        CCreatorRow::of<CButton>("ui:button-base"),
        CCreatorRow::of<CControlArray>("ui:control-array"),
        CCreatorRow::of<CFileDialog>("ui:file-dialog"),
        CCreatorRow::of<CDynListPresets>("ui:dynlist-presets"),
        CCreatorRow::of<CDynListValueList>("ui:dynlist-value-list"),
        CCreatorRow::of<CFrame>("ui:frame"),
        CCreatorRow::of<CHistory>("ui:history"),
        CCreatorRow::of<CKnob>("ui:knob"),
        CCreatorRow::of<CKnobLabels>("ui:knob-labels"),
        CCreatorRow::of<CGradient>("ui:overlay-gradient"),
        CCreatorRow::of<CParamBridgeAudio>("ui:param-bridge"),
        CCreatorRow::of<CParamGroupSelector>("ui:param-group-selector"),
        CCreatorRow::of<CPicture>("ui:picture"),
        CCreatorRow::of<CPluginControl>("ui:plugin-control"),
        CCreatorRow::of<CPresetManager>("ui:preset-manager"),
        CCreatorRow::of<CSelector>("ui:selector"),
        CCreatorRow::of<CSelectorPalette>("ui:selector-palette"),
        CCreatorRow::of<CSelectorScale>("ui:selector-scale"),
        CCreatorRow::of<CReadOut>("ui:readout"),
        CCreatorRow::of<CScrollerBar>("ui:scroller-bar"),
        CCreatorRow::of<CTextView>("ui:textview"),
        CCreatorRow::of<CUIParam>("ui:ui-param"),
        CCreatorRow::of<CUIParamController>("ui:ui-param-controller"),
        CCreatorRow::of<CValueListAudio>("ui:value-list"),
        CCreatorRow::of<CValueList>("ui:value-list-manual"),
        CCreatorRow::of<CView>("ui:view"),
        CCreatorRow::of<CViewColorSlot>("ui:view-color-slot"),
        CCreatorRow::of<CViewCommand>("ui:view-command"),
        CCreatorRow::of<CViewState>("ui:view-state"),
        CCreatorRow::of<CViewStateSwitch>("ui:view-state-switch"),
        CCreatorRow::of<CWindowDrag>("ui:window-drag"),
        CCreatorRow::of<CWindow>("ui:window-renderer"),
        CCreatorRow::of<CWindowSharedData>("ui:window-shared-data"),
    };
    return CObject::registerCreators(rows);
}

} // namespace kel
