#pragma once
// Every message the program shows, by name, beside its number in the
// [Strings] section of the language file. Numbers that carry the same text
// are kept apart on purpose: each is the text of one place, and a language
// file may word them differently. A number is quoted nowhere else in the
// code; a native test keeps it so, and checks the file holds each one.

#include "platform/message_id.h"

namespace ombrix {

using platform::MessageId;

namespace msg {

// ---- The profile editor (frmProfili)

// The site list's caption, forbidden or allowed, after each of the editor's moves.
inline constexpr MessageId ListCaptionForbiddenAfterLoad{"0001"};
inline constexpr MessageId ListCaptionAllowedAfterLoad{"0002"};
inline constexpr MessageId ListCaptionForbiddenAfterCancelOrDelete{"0003"};
inline constexpr MessageId ListCaptionAllowedAfterCancelOrDelete{"0004"};
inline constexpr MessageId ListCaptionForbiddenOnNew{"0005"};
inline constexpr MessageId ListCaptionAllowedOnNew{"0006"};
inline constexpr MessageId ListCaptionForbiddenAfterMoveFirst{"0007"};
inline constexpr MessageId ListCaptionAllowedAfterMoveFirst{"0008"};
inline constexpr MessageId ListCaptionForbiddenAfterMovePrevious{"0009"};
inline constexpr MessageId ListCaptionAllowedAfterMovePrevious{"0010"};
inline constexpr MessageId ListCaptionForbiddenAfterMoveNext{"0011"};
inline constexpr MessageId ListCaptionAllowedAfterMoveNext{"0012"};
inline constexpr MessageId ListCaptionForbiddenAfterMoveLast{"0014"};
inline constexpr MessageId ListCaptionAllowedAfterMoveLast{"0015"};
inline constexpr MessageId ListCaptionAllowedAfterSave{"0017"};
inline constexpr MessageId ListCaptionForbiddenAfterSave{"0018"};
inline constexpr MessageId ListCaptionForbiddenAfterOptionClick{"0057"};
inline constexpr MessageId ListCaptionAllowedAfterOptionClick{"0058"};

inline constexpr MessageId ProfileStillAssigned{"0013"};
inline constexpr MessageId NewProfileName{"0016"};
inline constexpr MessageId ProfileNameBlank{"0019"};
inline constexpr MessageId EnterProfileNameBeforeSaving{"0020"};
inline constexpr MessageId ProfileNameTaken{"0021"};
inline constexpr MessageId HomePageNotAllowed{"0022"};
inline constexpr MessageId AddSiteOrChooseHomePage{"0023"};
inline constexpr MessageId TextNotTypeable{"0359"};
inline constexpr MessageId EntryMatchesEveryAddress{"0360"};
inline constexpr MessageId TextTooLong{"0364"};
// A managed profile is changed only in the file Group Policy names.
inline constexpr MessageId ProfileManaged{"0380"};
inline constexpr MessageId MaxProtectionNeedsForbiddenList{"0082"};

// The lists: the question before an add ("Add ... <entry> to the list?") and
// before a delete, the refusal on an unsaved profile, the column heading,
// the refusal of a duplicate.
inline constexpr MessageId AddProcessQuestion{"0031"};
inline constexpr MessageId AddProcessQuestionEnd{"0032"};
inline constexpr MessageId DeleteProcessQuestion{"0042"};
inline constexpr MessageId DeleteProcessQuestionEnd{"0043"};
inline constexpr MessageId SaveProfileBeforeProcesses{"0033"};
inline constexpr MessageId ProcessHeading{"0304"};
inline constexpr MessageId ProcessAlreadyListed{"0106"};
inline constexpr MessageId AddWindowQuestion{"0024"};
inline constexpr MessageId AddWindowQuestionEnd{"0025"};
inline constexpr MessageId DeleteWindowQuestion{"0040"};
inline constexpr MessageId DeleteWindowQuestionEnd{"0041"};
inline constexpr MessageId SaveProfileBeforeWindows{"0026"};
inline constexpr MessageId WindowTitleHeading{"0305"};
inline constexpr MessageId WindowAlreadyListed{"0107"};
inline constexpr MessageId AddSiteQuestion{"0034"};
inline constexpr MessageId AddSiteQuestionEnd{"0035"};
inline constexpr MessageId DeleteSiteQuestion{"0044"};
inline constexpr MessageId DeleteSiteQuestionEnd{"0045"};
inline constexpr MessageId SaveProfileBeforeSites{"0036"};
inline constexpr MessageId SiteHeading{"0306"};
inline constexpr MessageId SiteAlreadyListed{"0108"};

inline constexpr MessageId ProcessFileNameOnly{"0027"};
inline constexpr MessageId ProcessNameInvalid{"0028"};
inline constexpr MessageId ProcessNameEndsInExe{"0029"};
inline constexpr MessageId ProcessNameExample{"0030"};

// The info pictures: the lines of each one's box.
inline constexpr MessageId InfoSiteEntry[] = {MessageId{"0059"}, MessageId{"0060"}, MessageId{"0061"},
                                              MessageId{"0062"}, MessageId{"0063"}, MessageId{"0064"}};
inline constexpr MessageId InfoBlockDownloads[] = {MessageId{"0065"}, MessageId{"0066"}};
inline constexpr MessageId InfoInternalBrowser[] = {MessageId{"0067"}};
inline constexpr MessageId InfoForbiddenWindows[] = {MessageId{"0068"}, MessageId{"0069"}, MessageId{"0070"},
                                                     MessageId{"0071"}};
inline constexpr MessageId InfoSiteList[] = {MessageId{"0072"}, MessageId{"0073"}};
inline constexpr MessageId InfoHideNotices[] = {MessageId{"0074"}};
inline constexpr MessageId InfoHomePage[] = {MessageId{"0075"}, MessageId{"0076"}, MessageId{"0077"},
                                             MessageId{"0078"}, MessageId{"0079"}};
inline constexpr MessageId InfoForbiddenProcesses[] = {MessageId{"0080"}, MessageId{"0081"}};
inline constexpr MessageId InfoMaxProtection[] = {MaxProtectionNeedsForbiddenList, MessageId{"0083"},
                                                  MessageId{"0084"}};
inline constexpr MessageId InfoPrinter[] = {MessageId{"0085"}, MessageId{"0086"}, MessageId{"0087"},
                                            MessageId{"0088"}, MessageId{"0089"}};

// ---- The exchange file

inline constexpr MessageId FileExists{"0046"};
inline constexpr MessageId ReplaceFileQuestion{"0047"};
inline constexpr MessageId FileNotFound{"0048"};
inline constexpr MessageId CheckFileNameAndPath{"0049"};
inline constexpr MessageId FileCannotBeWritten{"0337"};
inline constexpr MessageId ProfileExportedStart{"0053"};
inline constexpr MessageId ProfileExportedEnd{"0054"};
inline constexpr MessageId ExportCannotCarryText{"0334"};
inline constexpr MessageId FileFormatInvalidByExtension{"0330"};
inline constexpr MessageId WarningTitle{"0331"};
inline constexpr MessageId ImportImpossible{"0332"};
inline constexpr MessageId FileFormatInvalid{"0333"};
inline constexpr MessageId FileNotText{"0335"};
inline constexpr MessageId FileLineTooLong{"0336"};
inline constexpr MessageId FileNamesNoProfile{"0338"};
inline constexpr MessageId FileSiteListWordUnknown{"0362"};
inline constexpr MessageId LineOfFile{"0363"};
inline constexpr MessageId ImportNameTaken{"0050"};
inline constexpr MessageId ImportTitle{"0051"};
inline constexpr MessageId ImportPrinterMissing{"0037"};
inline constexpr MessageId ImportedWithoutPrinter{"0038"};
inline constexpr MessageId ChoosePrinterLater{"0039"};

// ---- The store

inline constexpr MessageId StoreNotFound{"0090"};
inline constexpr MessageId StoreNotFoundTitle{"0091"};
inline constexpr MessageId ChooseStoreFolderFromMainForm{"0092"};
inline constexpr MessageId ChooseStoreFolderFromOtherForm{"0093"};
inline constexpr MessageId StoreUpgraded{"0151"};
inline constexpr MessageId StoreWriteFailed{"0310"};
inline constexpr MessageId StoreUnreadable{"0313"};
inline constexpr MessageId StoreUpgradeFailed{"0314"};
inline constexpr MessageId NotOurStore{"0315"};
inline constexpr MessageId StoreLost{"0355"};
inline constexpr MessageId FolderAccessNotSet{"0345"};

// ---- The administrator's password

inline constexpr MessageId PasswordBlank{"0143"};
inline constexpr MessageId PasswordInvalidTitle{"0144"};
inline constexpr MessageId PasswordsDiffer{"0145"};
inline constexpr MessageId PasswordTooLong{"0311"};
inline constexpr MessageId PasswordControlCharacter{"0312"};
inline constexpr MessageId PasswordNotUtf8{"0361"};
inline constexpr MessageId PasswordMissingFromStore{"0316"};
// The policy key sets the password: it cannot be changed on the PC.
inline constexpr MessageId PasswordManaged{"0365"};
// A change of a setting the policy key decides; the names of its values follow.
inline constexpr MessageId SetByPolicy{"0450"};
// An installer's hash that is not one the program makes.
inline constexpr MessageId PasswordHashInvalid{"0395"};
// The guard service starts the program: the autostart option is not the one that does.
inline constexpr MessageId AutostartByGuardService{"0440"};
// ombrixctl service: the service refused or could not be reached; the system's words follow.
inline constexpr MessageId GuardServiceFailed{"0441"};
// The administrator's exit: the guard would start the program again, so it stays.
inline constexpr MessageId GuardNotStoodDown{"0442"};
// No password yet, in a session that may not choose one.
inline constexpr MessageId PasswordNotChosenYet{"0396"};

// ---- Administration from an elevated copy

inline constexpr MessageId ConsentNotGiven{"0340"};
inline constexpr MessageId ElevatedRunFailed{"0341"};
inline constexpr MessageId PasswordFromEnvironmentNotElevated{"0342"};
inline constexpr MessageId NeedsWindowsAdministrator{"0343"};
inline constexpr MessageId ChangeNotCompleted{"0344"};

// ---- The main form and its notices

inline constexpr MessageId NoticeTitleSiteBlocked{"0111"};
inline constexpr MessageId NoticeTitleProgramClosed{"0112"};
inline constexpr MessageId NoticeTitleWindowClosed{"0113"};
inline constexpr MessageId NoticeTitleOther{"0114"};
inline constexpr MessageId NoticeFormHeading{"0302"};
// The task manager's menu entry: locked by a click, unlocked by a click, and
// locked by the close box and by minimising.
inline constexpr MessageId UnlockTaskManagerAfterClick{"0149"};
inline constexpr MessageId LockTaskManagerAfterClick{"0150"};
inline constexpr MessageId UnlockTaskManagerAfterClose{"0163"};
inline constexpr MessageId UnlockTaskManagerAfterMinimise{"0164"};
inline constexpr MessageId TimeSlotsOn{"0357"};
inline constexpr MessageId TimeSlotsOff{"0358"};
inline constexpr MessageId ClosingInProgress{"0299"};
inline constexpr MessageId ClosingInProgressTicking{"0300"};

// ---- The enforcement's notices

inline constexpr MessageId ForbiddenProgramClosed{"0171"};
inline constexpr MessageId OperaNotAllowedClosed{"0168"};
inline constexpr MessageId SafariNotAllowedClosed{"0169"};
inline constexpr MessageId ChromeNotAllowedClosed{"0170"};
inline constexpr MessageId ForbiddenWindowClosed{"0174"};
inline constexpr MessageId WindowClosedForKeyword{"0137"};
inline constexpr MessageId SiteForbidden{"0181"};
inline constexpr MessageId SiteNotAllowed{"0182"};
// A browser whose address cannot be read was ended; the program follows.
inline constexpr MessageId UnreadableBrowserClosed{"0410"};
inline constexpr MessageId SiteBlockedForKeyword{"0180"};
inline constexpr MessageId SiteForbiddenInExplorer{"0172"};
inline constexpr MessageId SiteNotAmongAllowedInExplorer{"0173"};

// ---- The internal browser and the application bar

inline constexpr MessageId ProtectedBrowserTitle{"0301"};
inline constexpr MessageId SiteNotAmongAllowedInBrowser{"0227"};
inline constexpr MessageId SiteForbiddenInBrowser{"0228"};
inline constexpr MessageId PageNotAllowedLoadStopped{"0229"};
inline constexpr MessageId PageForbiddenLoadStopped{"0230"};
inline constexpr MessageId BarInternalBrowser{"0225"};
inline constexpr MessageId BarDefaultBrowser{"0226"};

// ---- The visited-sites log (frmLogSiti)

inline constexpr MessageId LogSwitchChanging{"0231"};
inline constexpr MessageId LogSwitchKeepsEveryAddress{"0232"};
inline constexpr MessageId LogNeverKeepsForbiddenSites{"0233"};
inline constexpr MessageId LogSwitchContinue{"0234"};
inline constexpr MessageId LogClearDeletesAll{"0235"};
inline constexpr MessageId LogClearCannotBeUndone{"0236"};
inline constexpr MessageId LogClearQuestion{"0237"};
inline constexpr MessageId StartDateInvalid{"0238"};
inline constexpr MessageId StartDateHowToWrite{"0239"};
inline constexpr MessageId StartDateCorrectAndRetry{"0240"};
inline constexpr MessageId EndDateInvalid{"0241"};
inline constexpr MessageId EndDateHowToWrite{"0242"};
inline constexpr MessageId EndDateCorrectAndRetry{"0243"};
inline constexpr MessageId LogDateTimeHeading{"0245"};
inline constexpr MessageId LogAddressHeading{"0246"};
inline constexpr MessageId LogNotOurs{"0350"};
inline constexpr MessageId LogCannotBeOpened{"0351"};
inline constexpr MessageId LogCannotBeWritten{"0352"};
inline constexpr MessageId LogCannotBeRead{"0353"};
inline constexpr MessageId LogFolderNotCreated{"0346"};

// ---- The time slots (frmPeriodi)

inline constexpr MessageId ScheduleNeedsFirstSlot{"0250"};
inline constexpr MessageId FirstSlotStartInvalid{"0252"};
inline constexpr MessageId FirstSlotStartHowToWrite{"0253"};
inline constexpr MessageId FirstSlotStartRanges{"0254"};
inline constexpr MessageId FirstSlotEndInvalid{"0255"};
inline constexpr MessageId FirstSlotEndHowToWrite{"0256"};
inline constexpr MessageId FirstSlotEndRanges{"0257"};
inline constexpr MessageId FirstSlotStartNotBeforeEnd{"0258"};
inline constexpr MessageId FirstSlotProfileWithoutTimes{"0260"};
inline constexpr MessageId FillFirstSlotFirst{"0264"};
inline constexpr MessageId SecondSlotStartInvalid{"0265"};
inline constexpr MessageId SecondSlotStartHowToWrite{"0266"};
inline constexpr MessageId SecondSlotStartRanges{"0267"};
inline constexpr MessageId SecondSlotStartsBeforeFirstEnds{"0268"};
inline constexpr MessageId SecondSlotEndInvalid{"0269"};
inline constexpr MessageId SecondSlotEndHowToWrite{"0270"};
inline constexpr MessageId SecondSlotEndRanges{"0271"};
inline constexpr MessageId SecondSlotStartNotBeforeEnd{"0272"};
inline constexpr MessageId SecondSlotProfileWithoutTimes{"0274"};
inline constexpr MessageId FillSecondSlotBeforeThird{"0276"};
inline constexpr MessageId ThirdSlotStartInvalid{"0277"};
inline constexpr MessageId ThirdSlotStartHowToWrite{"0278"};
inline constexpr MessageId ThirdSlotStartRanges{"0279"};
inline constexpr MessageId ThirdSlotStartsBeforeSecondEnds{"0280"};
inline constexpr MessageId ThirdSlotEndInvalid{"0281"};
inline constexpr MessageId ThirdSlotEndHowToWrite{"0282"};
inline constexpr MessageId ThirdSlotEndRanges{"0283"};
inline constexpr MessageId ThirdSlotStartNotBeforeEnd{"0284"};
inline constexpr MessageId ThirdSlotProfileWithoutTimes{"0286"};
inline constexpr MessageId TimeExampleStart{"0288"};
inline constexpr MessageId TimeExampleEnd{"0289"};
// Each combo's empty entry: the three slots', then the fallback's.
inline constexpr MessageId NoProfileFirstSlot{"0291"};
inline constexpr MessageId NoProfileSecondSlot{"0292"};
inline constexpr MessageId NoProfileThirdSlot{"0293"};
inline constexpr MessageId NoProfileFallback{"0294"};
inline constexpr MessageId SaveSlotChangesQuestion{"0295"};
inline constexpr MessageId NoFallbackBlocksEverySite{"0356"};

}  // namespace msg
}  // namespace ombrix
