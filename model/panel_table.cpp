#include "model/panel_table.h"

namespace zrkui {

ZRKPanelTable& ZRKPanelTable::instance()
{
    static ZRKPanelTable table;
    return table;
}

} // namespace zrkui
