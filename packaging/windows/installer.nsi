; Installs for every user of the machine. Silent with /S; the folder can be
; given with /D=. Built by scripts/windows, which passes VERSION, STAGE, OUTPUT
; and ICON.

Target amd64-unicode
SetCompressor /SOLID lzma
; Both programs hold the same toolkit: what one has, the other need not bring.
SetCompressorDictSize 32
ManifestDPIAware true
ManifestSupportedOS all
RequestExecutionLevel admin

!include MUI2.nsh
!include FileFunc.nsh
!include LogicLib.nsh

!define PRODUCT "Tolvane Modem Connector"
!define PROGRAM "TolvaneDialler.exe"
!define OPERATORS "Tolvane Mobile Operators"
!define OPERATORS_PROGRAM "TolvaneOperators.exe"
!define MAKER "Brantiq Developer Network"
!define UNINSTALL "Software\Microsoft\Windows\CurrentVersion\Uninstall\${PRODUCT}"

Name "${PRODUCT}"
Caption "${PRODUCT} Setup"
UninstallCaption "${PRODUCT} Uninstall"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\${PRODUCT}"
InstallDirRegKey HKLM "${UNINSTALL}" "InstallLocation"
BrandingText "${PRODUCT} ${VERSION}"
ShowInstDetails nevershow
ShowUninstDetails nevershow

VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "${PRODUCT}"
VIAddVersionKey "CompanyName" "${MAKER}"
VIAddVersionKey "FileDescription" "${PRODUCT} installer"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "LegalCopyright" "GNU General Public License, version 3 or later"

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_ABORTWARNING
!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
; The drivers have to be copied before the first start; the quick start says so.
!define MUI_FINISHPAGE_RUN "$INSTDIR\${PROGRAM}"
!define MUI_FINISHPAGE_RUN_NOTCHECKED
!define MUI_FINISHPAGE_SHOWREADME "$INSTDIR\QuickStart.txt"
!define MUI_FINISHPAGE_SHOWREADME_TEXT "Show the quick start"
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; Windows does not replace a file that runs: better said before than found out
; half-way.
!macro NeedClosed FILE NAME
    ${If} ${FileExists} "${FILE}"
        ClearErrors
        FileOpen $0 "${FILE}" a
        ${If} ${Errors}
            MessageBox MB_OK|MB_ICONEXCLAMATION "${NAME} is running, or its folder cannot be changed. Close it and start again." /SD IDOK
            SetErrorLevel 2
            Quit
        ${EndIf}
        FileClose $0
    ${EndIf}
!macroend
!macro NeedProgramClosed FOLDER
    !insertmacro NeedClosed "${FOLDER}\${PROGRAM}" "${PRODUCT}"
    !insertmacro NeedClosed "${FOLDER}\${OPERATORS_PROGRAM}" "${OPERATORS}"
!macroend

; The files that an installation owns, and nothing else: drivers and presets
; that were added to the folders are not the installer's to delete. A folder
; goes when it is empty.
!macro DeleteInstalledFiles FOLDER
    Delete "${FOLDER}\${PROGRAM}"
    Delete "${FOLDER}\${OPERATORS_PROGRAM}"
    Delete "${FOLDER}\tolvane-operators.exe"
    Delete "${FOLDER}\48x48.ico"
    Delete "${FOLDER}\QuickStart.txt"
    Delete "${FOLDER}\Manual.txt"
    Delete "${FOLDER}\Notices.txt"
    Delete "${FOLDER}\Uninstall.exe"
    Delete "${FOLDER}\drivers\ReadMe.txt"
    Delete "${FOLDER}\settings\ReadMe.txt"
    Delete "${FOLDER}\licences\TolvaneModemConnector.txt"
    Delete "${FOLDER}\licences\Qt-*.txt"
    Delete "${FOLDER}\licences\GCC.txt"
    Delete "${FOLDER}\licences\MinGW-w64.txt"
    RMDir "${FOLDER}\drivers"
    RMDir "${FOLDER}\settings"
    RMDir "${FOLDER}\licences"
    RMDir "${FOLDER}"
!macroend

Function .onInit
    SetRegView 64
    SetShellVarContext all
FunctionEnd

Section
    !insertmacro NeedProgramClosed "$INSTDIR"
    ReadRegStr $1 HKLM "${UNINSTALL}" "InstallLocation"
    ${If} $1 != ""
    ${AndIf} $1 != $INSTDIR
        ; Moved: the registration knows one place only, so the old one goes.
        !insertmacro NeedProgramClosed "$1"
        !insertmacro DeleteInstalledFiles "$1"
    ${EndIf}
    ; What an older version had and this one has no more goes away.
    !insertmacro DeleteInstalledFiles "$INSTDIR"
    SetOutPath "$INSTDIR"
    File /r "${STAGE}\*"

    CreateDirectory "$SMPROGRAMS\${PRODUCT}"
    CreateShortcut "$SMPROGRAMS\${PRODUCT}\${PRODUCT}.lnk" "$INSTDIR\${PROGRAM}"
    CreateShortcut "$SMPROGRAMS\${PRODUCT}\${OPERATORS}.lnk" "$INSTDIR\${OPERATORS_PROGRAM}"
    CreateShortcut "$SMPROGRAMS\${PRODUCT}\Quick Start.lnk" "$INSTDIR\QuickStart.txt"
    CreateShortcut "$SMPROGRAMS\${PRODUCT}\Manual.lnk" "$INSTDIR\Manual.txt"

    WriteUninstaller "$INSTDIR\Uninstall.exe"
    WriteRegStr HKLM "${UNINSTALL}" "DisplayName" "${PRODUCT}"
    WriteRegStr HKLM "${UNINSTALL}" "DisplayVersion" "${VERSION}"
    WriteRegStr HKLM "${UNINSTALL}" "DisplayIcon" "$INSTDIR\${PROGRAM}"
    WriteRegStr HKLM "${UNINSTALL}" "Publisher" "${MAKER}"
    WriteRegStr HKLM "${UNINSTALL}" "InstallLocation" "$INSTDIR"
    WriteRegStr HKLM "${UNINSTALL}" "UninstallString" '"$INSTDIR\Uninstall.exe"'
    WriteRegStr HKLM "${UNINSTALL}" "QuietUninstallString" '"$INSTDIR\Uninstall.exe" /S'
    WriteRegDWORD HKLM "${UNINSTALL}" "NoModify" 1
    WriteRegDWORD HKLM "${UNINSTALL}" "NoRepair" 1
    ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
    IntFmt $0 "0x%08X" $0
    WriteRegDWORD HKLM "${UNINSTALL}" "EstimatedSize" "$0"
SectionEnd

Function un.onInit
    SetRegView 64
    SetShellVarContext all
FunctionEnd

Section "Uninstall"
    !insertmacro NeedProgramClosed "$INSTDIR"
    !insertmacro DeleteInstalledFiles "$INSTDIR"
    Delete "$SMPROGRAMS\${PRODUCT}\${PRODUCT}.lnk"
    Delete "$SMPROGRAMS\${PRODUCT}\${OPERATORS}.lnk"
    Delete "$SMPROGRAMS\${PRODUCT}\Quick Start.lnk"
    Delete "$SMPROGRAMS\${PRODUCT}\Manual.lnk"
    RMDir "$SMPROGRAMS\${PRODUCT}"
    DeleteRegKey HKLM "${UNINSTALL}"

    ; Silent, they are kept unless /REMOVESETTINGS is given.
    ${GetParameters} $0
    ClearErrors
    ${GetOptions} $0 "/REMOVESETTINGS" $1
    ${If} ${Errors}
        MessageBox MB_YESNO|MB_ICONQUESTION "Keep your settings (operator, port and connection names)?" /SD IDYES IDYES keep
    ${EndIf}
    SetShellVarContext current
    ; With the copies that were kept of damaged ones.
    Delete "$APPDATA\${MAKER}\${PRODUCT}.ini*"
    RMDir "$APPDATA\${MAKER}"
    Delete "$LOCALAPPDATA\${MAKER}\${PRODUCT}\messages-*.log"
    RMDir "$LOCALAPPDATA\${MAKER}\${PRODUCT}"
    RMDir "$LOCALAPPDATA\${MAKER}"
keep:
SectionEnd
