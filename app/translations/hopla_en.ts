<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US" sourcelanguage="zh_CN">
<context>
    <name>Hopla</name>
    <message>
        <source>Hopla 应用切换器</source>
        <translation>Hopla application switcher</translation>
    </message>
    <message>
        <source>%1，%2</source>
        <translation>%1, %2</translation>
    </message>
    <message>
        <source>，已选中</source>
        <translation>, selected</translation>
    </message>
    <message>
        <source>暂时无法切换，请重试</source>
        <translation>Cannot switch right now, please try again</translation>
    </message>
    <message>
        <source>Hopla · 首字母切换</source>
        <translation>Hopla · switch by first letter</translation>
    </message>
    <message>
        <source>打开 Hopla</source>
        <translation>Open Hopla</translation>
    </message>
    <message>
        <source>暂停 / 恢复切换</source>
        <translation>Pause / Resume Switching</translation>
    </message>
    <message>
        <source>检查更新…</source>
        <translation>Check for Updates…</translation>
    </message>
    <message>
        <source>退出 Hopla</source>
        <translation>Quit Hopla</translation>
    </message>
    <message>
        <source>Hopla 兔头</source>
        <translation>Hopla rabbit head</translation>
    </message>
    <message>
        <source>一个字母，即刻抵达。</source>
        <translation>One letter, and you are there.</translation>
    </message>
    <message>
        <source>版本 %1（%2）</source>
        <translation>Version %1 (%2)</translation>
    </message>
    <message>
        <source>另一个切换器正在运行</source>
        <translation>Another switcher is running</translation>
    </message>
    <message>
        <source>准备就绪</source>
        <translation>Ready</translation>
    </message>
    <message>
        <source>还差一步：这个桌面还不能切换</source>
        <translation>One more step: switching cannot work on this desktop yet</translation>
    </message>
    <message>
        <source>切换已暂停</source>
        <translation>Switching is paused</translation>
    </message>
    <message>
        <source>请先退出 %1，避免快捷键被重复处理。</source>
        <translation>Quit %1 first so the shortcut is not handled twice.</translation>
    </message>
    <message>
        <source>按下 %1 Tab，试试你的第一个字母。</source>
        <translation>Press %1+Tab and try your first letter.</translation>
    </message>
    <message>
        <source>开启应用切换后，即可使用快捷键。</source>
        <translation>Turn on app switching to use the shortcut.</translation>
    </message>
    <message>
        <source>授权后即可接管快捷键，不记录文字输入。</source>
        <translation>Once allowed, Hopla takes over the shortcut. It never records what you type.</translation>
    </message>
    <message>
        <source>去授权</source>
        <translation>Allow…</translation>
    </message>
    <message>
        <source>启用应用切换</source>
        <translation>Enable app switching</translation>
    </message>
    <message>
        <source>用 Hopla 接管 %1 Tab 和 %1 `</source>
        <translation>Let Hopla handle %1+Tab and %1+`</translation>
    </message>
    <message>
        <source>登录时自动启动</source>
        <translation>Start at login</translation>
    </message>
    <message>
        <source>已请求启动，等待你在桌面设置中批准</source>
        <translation>Requested; waiting for your approval in the desktop settings</translation>
    </message>
    <message>
        <source>让快捷切换随时待命</source>
        <translation>Keep quick switching ready at all times</translation>
    </message>
    <message>
        <source>显示托盘图标</source>
        <translation>Show the tray icon</translation>
    </message>
    <message>
        <source>隐藏后，重新打开 Hopla 即可进入设置</source>
        <translation>When hidden, open Hopla again to reach the settings</translation>
    </message>
    <message>
        <source>外观</source>
        <translation>Appearance</translation>
    </message>
    <message>
        <source>面板与设置同步切换</source>
        <translation>The panel and the settings follow together</translation>
    </message>
    <message>
        <source>跟随系统</source>
        <translation>System</translation>
    </message>
    <message>
        <source>浅色</source>
        <translation>Light</translation>
    </message>
    <message>
        <source>深色</source>
        <translation>Dark</translation>
    </message>
    <message>
        <source>指尖捷径</source>
        <translation>At your fingertips</translation>
    </message>
    <message>
        <source>按住 %1，按 Tab 唤出应用</source>
        <translation>Hold %1 and press Tab to call up your apps</translation>
    </message>
    <message>
        <source>按住 %1，按 ` 在前台应用的窗口间切换</source>
        <translation>Hold %1 and press ` to go through the front app's windows</translation>
    </message>
    <message>
        <source>%1 被其他程序占用，窗口之间暂时无法切换</source>
        <translation>Another program holds %1, so switching windows is unavailable</translation>
    </message>
    <message>
        <source>输入首字母跳转，中文自动取拼音</source>
        <translation>Type a first letter to jump; Chinese names go by pinyin</translation>
    </message>
    <message>
        <source>点击应用图标，直接切换并收起</source>
        <translation>Click an app's icon to switch to it and close the panel</translation>
    </message>
    <message>
        <source>收起面板，保留已经完成的跳转</source>
        <translation>Closes the panel and keeps the jump already made</translation>
    </message>
    <message>
        <source>Hopla %1 · 应用切换在本机运行</source>
        <translation>Hopla %1 · switching runs on this computer</translation>
    </message>
    <message>
        <source>目标应用未能进入前台，请重试。</source>
        <translation>The application did not come to the front. Please try again.</translation>
    </message>
    <message>
        <source>应用已切换，但窗口未能打开，请重试。</source>
        <translation>Switched, but the window did not open. Please try again.</translation>
    </message>
    <message>
        <source>键盘监听不可用，请检查权限后重启。</source>
        <translation>The keyboard cannot be watched. Check the permission and restart Hopla.</translation>
    </message>
    <message>
        <source>占用 %1 的程序</source>
        <translation>the program holding %1</translation>
    </message>
    <message>
        <source>与 X 服务器的连接已断开。</source>
        <translation>The connection to the X server was lost.</translation>
    </message>
    <message>
        <source>Hopla 需要在 X11 会话中运行，且 X 服务器提供 XInput 2.2 和 XTEST。</source>
        <translation>Hopla needs an X11 session whose server offers XInput 2.2 and XTEST.</translation>
    </message>
    <message>
        <source>无法更新登录项，请检查自动启动文件夹 ~/.config/autostart 后重试。
%1</source>
        <translation>The login item could not be updated. Check the autostart folder ~/.config/autostart and try again.
%1</translation>
    </message>
    <message>
        <source>仅保存在本机</source>
        <translation>Saved on this computer only</translation>
    </message>
    <message>
        <source>%1 拦截了 %2 键</source>
        <translation>%1 takes the %2 key</translation>
    </message>
    <message>
        <source>%1 占用了 %2</source>
        <translation>%1 holds %2</translation>
    </message>
    <message>
        <source>IceWM 的 Win95Keys 选项让它独占 Super 键：在 ~/.icewm/preferences 中写入 Win95Keys=0 并重启 IceWM，或者在下方改用 Alt+Tab。</source>
        <translation>IceWM keeps the Super key for itself (its Win95Keys option): write Win95Keys=0 in ~/.icewm/preferences and restart IceWM, or switch to Alt+Tab below.</translation>
    </message>
    <message>
        <source>按下的 %1 没有到达 Hopla：请在 %2 的设置中取消它对这个修饰键的占用，或者在下方换用另一个快捷键。</source>
        <translation>%1 never reaches Hopla: stop %2 from taking this modifier in its settings, or choose another shortcut below.</translation>
    </message>
    <message>
        <source>这是窗口管理器自己的快捷键。点“释放快捷键”，Hopla 会在 %1 的键盘快捷键设置里移除它。</source>
        <translation>This is the window manager's own shortcut. Click “Release shortcut” and Hopla removes it from the keyboard shortcuts of %1.</translation>
    </message>
    <message>
        <source>这是窗口管理器自己的快捷键：在 ~/.config/openbox/rc.xml 的 &lt;keyboard&gt; 中删除 %1 的 &lt;keybind&gt;，再运行 openbox --reconfigure；或者在下方换用另一个快捷键。</source>
        <translation>This is the window manager's own shortcut: remove the &lt;keybind&gt; of %1 from &lt;keyboard&gt; in ~/.config/openbox/rc.xml and run openbox --reconfigure, or choose another shortcut below.</translation>
    </message>
    <message>
        <source>这是窗口管理器自己的快捷键：请在 %1 的键盘快捷键设置中移除 %2，或者在下方换用另一个快捷键。</source>
        <translation>This is the window manager's own shortcut: remove %2 in the keyboard shortcuts of %1, or choose another shortcut below.</translation>
    </message>
    <message>
        <source>释放快捷键</source>
        <translation>Release shortcut</translation>
    </message>
    <message>
        <source>切换快捷键</source>
        <translation>Switching shortcut</translation>
    </message>
    <message>
        <source>窗口管理器不占用 Alt+Tab 时，也可以改用它</source>
        <translation>Alt+Tab works too where the window manager leaves it free</translation>
    </message>
    <message>
        <source>键盘上没有键被映射为 %1 修饰键，切换无法开始。请检查键盘布局设置。</source>
        <translation>No key on this keyboard is mapped to the %1 modifier, so switching cannot start. Check the keyboard layout settings.</translation>
    </message>
    <message>
        <source>无法释放 %1 的快捷键：%2</source>
        <translation>Could not release the shortcut of %1: %2</translation>
    </message>
    <message>
        <source>配置已被其它设备或程序修改，请重新加载后再编辑。</source>
        <translation>The configuration was changed by another machine or program. Reload it before editing.</translation>
    </message>
    <message>
        <source>同步文件夹中的配置存在冲突版本，请在文件管理器中处理后重新加载。</source>
        <translation>The configuration in the synced folder has conflicting versions. Resolve them in the file manager, then reload.</translation>
    </message>
    <message>
        <source>配置文件暂不可用。</source>
        <translation>The configuration file is not available right now.</translation>
    </message>
    <message>
        <source>配置文件超过 5 MB。</source>
        <translation>The configuration file is larger than 5 MB.</translation>
    </message>
    <message>
        <source>配置文件不是普通文件（链接、设备或管道），Hopla 不会读写它；请在同步文件夹中换回普通文件。</source>
        <translation>The configuration file is not a regular file (a link, device or pipe), so Hopla neither reads nor writes it; put a regular file back in the synced folder.</translation>
    </message>
    <message>
        <source>配置文件格式不正确：%1</source>
        <translation>The configuration file is not in the expected format: %1</translation>
    </message>
    <message>
        <source>已同步到同步文件夹</source>
        <translation>Saved to the synced folder</translation>
    </message>
    <message>
        <source>已从同步文件夹同步</source>
        <translation>Updated from the synced folder</translation>
    </message>
    <message>
        <source>同步保存失败：%1</source>
        <translation>Could not save to the synced folder: %1</translation>
    </message>
    <message>
        <source>已启用同步文件夹同步</source>
        <translation>Syncing through the synced folder</translation>
    </message>
    <message>
        <source>同步配置读取失败：%1</source>
        <translation>Could not read the synced configuration: %1</translation>
    </message>
    <message>
        <source>无法监视同步文件夹：%1</source>
        <translation>Cannot watch the synced folder: %1</translation>
    </message>
    <message>
        <source>Hopla 运行在 Qt 的“%1”平台上，而不是 X11：它看不到这个桌面的按键。</source>
        <translation>Hopla runs on Qt's "%1" platform, not on X11: it cannot see this desktop's keys.</translation>
    </message>
    <message>
        <source>无法连接 X 服务器：%1</source>
        <translation>Cannot connect to the X server: %1</translation>
    </message>
    <message>
        <source>X 服务器缺少 XInput 2.2 扩展，Hopla 需要它来跟随键盘。</source>
        <translation>The X server lacks XInput 2.2, which Hopla needs to follow the keyboard.</translation>
    </message>
    <message>
        <source>X 服务器缺少 XTEST 扩展。</source>
        <translation>The X server lacks the XTEST extension.</translation>
    </message>
    <message>
        <source>同步配置不可用：%1</source>
        <translation>The synced configuration is not available: %1</translation>
    </message>
    <message>
        <source>未找到同步文件夹</source>
        <translation>No synced folder was found</translation>
    </message>
    <message>
        <source>未找到同步文件夹，请先选择一个（Nextcloud、Dropbox、Syncthing…）</source>
        <translation>No synced folder was found. Choose one first (Nextcloud, Dropbox, Syncthing…).</translation>
    </message>
    <message>
        <source>同步配置</source>
        <translation>Sync settings</translation>
    </message>
    <message>
        <source>自动提示新版</source>
        <translation>Announce new versions</translation>
    </message>
    <message>
        <source>查看完整更新日志</source>
        <translation>Full Change Log</translation>
    </message>
    <message>
        <source>更新日志</source>
        <translation>Change log</translation>
    </message>
    <message>
        <source>查看所有版本的更新内容</source>
        <translation>What changed in every version</translation>
    </message>
    <message>
        <source>撤销</source>
        <translation>Undo</translation>
    </message>
    <message>
        <source>重做</source>
        <translation>Redo</translation>
    </message>
    <message>
        <source>剪切</source>
        <translation>Cut</translation>
    </message>
    <message>
        <source>复制</source>
        <translation>Copy</translation>
    </message>
    <message>
        <source>粘贴</source>
        <translation>Paste</translation>
    </message>
    <message>
        <source>全选</source>
        <translation>Select All</translation>
    </message>
    <message>
        <source>关闭窗口</source>
        <translation>Close Window</translation>
    </message>
    <message>
        <source>选择文件夹…</source>
        <translation>Choose Folder…</translation>
    </message>
    <message>
        <source>选择同步文件夹</source>
        <translation>Choose the synced folder</translation>
    </message>
    <message>
        <source>同步文件夹：%1</source>
        <translation>Synced folder: %1</translation>
    </message>
    <message>
        <source>还没有同步文件夹</source>
        <translation>No synced folder yet</translation>
    </message>
    <message>
        <source>这是 Wayland 会话，而 Hopla 运行在 Xwayland 上（QT_QPA_PLATFORM=xcb）：它看不到合成器的按键和 Wayland 窗口。请去掉 QT_QPA_PLATFORM=xcb 后重新启动 Hopla。</source>
        <translation>This is a Wayland session, but Hopla runs on Xwayland (QT_QPA_PLATFORM=xcb): it cannot see the compositor's keys or Wayland windows. Start Hopla again without QT_QPA_PLATFORM=xcb.</translation>
    </message>
    <message>
        <source>Hopla 还不能在 KDE Plasma 的 Wayland 会话中切换应用。请登录 X11 会话使用 Hopla。</source>
        <translation>Hopla cannot switch applications in a KDE Plasma Wayland session yet. Log in to an X11 session to use Hopla.</translation>
    </message>
    <message>
        <source>%1 自己的切换器占用了 %2。点“释放快捷键”，Hopla 会在 %1 的键盘快捷键设置里移除 %2：%1 的 %2 切换器不再响应，Alt+Tab 保持不变。</source>
        <translation>%1's own switcher holds %2. Click “Release shortcut” and Hopla removes %2 from %1's keyboard shortcuts: %1's %2 switcher stops answering, Alt+Tab stays as it is.</translation>
    </message>
    <message>
        <source>%1 在这一行绑定了 %2：
%3
点“释放快捷键”，Hopla 会把这一行改为注释（原文件备份在旁边，名为 .hopla-backup），并让 %1 重新载入。</source>
        <translation>%1 binds %2 on this line:
%3
Click “Release shortcut” and Hopla turns the line into a comment (the file as it was is kept beside it, ending in .hopla-backup) and has %1 reload it.</translation>
    </message>
    <message>
        <source>Hopla 不能在这个 Wayland 会话中切换应用：%1。它需要 sway 或其他提供 wlr-layer-shell 和 wlr-foreign-toplevel-management 的合成器。</source>
        <translation>Hopla cannot switch applications in this Wayland session: %1. It needs sway or another compositor offering wlr-layer-shell and wlr-foreign-toplevel-management.</translation>
    </message>
    <message>
        <source>与 Wayland 合成器的连接已断开。</source>
        <translation>The connection to the Wayland compositor was lost.</translation>
    </message>
    <message>
        <source>请在合成器的配置中加入以下按键绑定，重新载入配置后按一次 Super+Tab：
%1</source>
        <translation>Add these key bindings to your compositor's configuration, reload it, then press Super+Tab once:
%1</translation>
    </message>
    <message>
        <source>Hopla 需要 sway（或其他 wlroots 合成器），它提供 wlr-layer-shell 和 wlr-foreign-toplevel-management 协议。</source>
        <translation>Hopla needs sway (or another wlroots compositor) offering the wlr-layer-shell and wlr-foreign-toplevel-management protocols.</translation>
    </message>
    <message>
        <source>请在 sway 的配置文件中删除这个按键绑定，然后运行 swaymsg reload。</source>
        <translation>Remove this key binding from sway's configuration file, then run swaymsg reload.</translation>
    </message>
    <message>
        <source>sway 没有及时回答。</source>
        <translation>sway did not answer in time.</translation>
    </message>
    <message>
        <source>与 sway 的连接断开了。</source>
        <translation>The connection to sway was lost.</translation>
    </message>
    <message>
        <source>sway 发来的消息无法读懂。</source>
        <translation>sway sent a message Hopla cannot read.</translation>
    </message>
    <message>
        <source>SWAYSOCK 没有设置：这不是 sway 会话。</source>
        <translation>SWAYSOCK is not set: this is not a sway session.</translation>
    </message>
    <message>
        <source>没有图形会话：DISPLAY 和 WAYLAND_DISPLAY 都未设置。</source>
        <translation>No graphical session: neither DISPLAY nor WAYLAND_DISPLAY is set.</translation>
    </message>
    <message>
        <source>Hopla 运行在“%1”平台上，而不是 X11。</source>
        <translation>Hopla runs on the “%1” platform, not on X11.</translation>
    </message>
</context>
</TS>
