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
        <source>%1，%2%3</source>
        <translation>%1, %2%3</translation>
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
        <source>还差一步，开启辅助功能</source>
        <translation>One more step: allow keyboard access</translation>
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
        <source>按下 ⌘ Tab，试试你的第一个字母。</source>
        <translation>Press Super+Tab and try your first letter.</translation>
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
        <source>用 Hopla 接管 ⌘ Tab</source>
        <translation>Let Hopla handle Super+Tab</translation>
    </message>
    <message>
        <source>登录时自动启动</source>
        <translation>Start at login</translation>
    </message>
    <message>
        <source>已请求启动，等待你在系统设置中批准</source>
        <translation>Requested; waiting for your approval in the system settings</translation>
    </message>
    <message>
        <source>让快捷切换随时待命</source>
        <translation>Keep quick switching ready at all times</translation>
    </message>
    <message>
        <source>显示菜单栏图标</source>
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
        <source>按住 ⌘，按 Tab 唤出应用</source>
        <translation>Hold Super and press Tab to call up your apps</translation>
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
        <source>无法更新登录项，请将 Hopla 放入「应用程序」后重试。
%1</source>
        <translation>The login item could not be updated. Check that Hopla is installed and try again.
%1</translation>
    </message>
    <message>
        <source>仅保存在本机</source>
        <translation>Saved on this computer only</translation>
    </message>
</context>
</TS>
