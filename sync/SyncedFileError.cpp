#include "sync/SyncedFileError.h"

#include <QCoreApplication>

namespace hopla {

QString description(SyncedFileError error) {
    const char* text = "";
    switch (error) {
    case SyncedFileError::externalChange:
        text = "配置已被其它设备或程序修改，请重新加载后再编辑。";
        break;
    case SyncedFileError::conflict:
        text = "同步文件夹中的配置存在冲突版本，请在文件管理器中处理后重新加载。";
        break;
    case SyncedFileError::unavailable:
        text = "配置文件暂不可用。";
        break;
    case SyncedFileError::tooLarge:
        text = "配置文件超过 5 MB。";
        break;
    case SyncedFileError::notRegular:
        text = "配置文件不是普通文件（链接、设备或管道），Hopla "
               "不会读写它；请在同步文件夹中换回普通文件。";
        break;
    }
    return QCoreApplication::translate("Hopla", text);
}

QString ConfigurationFailure::description() const {
    return refusal ? hopla::description(*refusal) : systemMessage;
}

} // namespace hopla
