// Resource identifiers of the log viewer's dialog.
#pragma once

#define IDD_FRMLOGSITI 800
#define IDC_CHKLOGSITI 801
#define IDC_LBLDATADA 802
#define IDC_TXTDATADA 803
#define IDC_LBLDATAA 804
#define IDC_TXTDATAA 805
#define IDC_CMDVISUALIZZA 806
#define IDC_LISTEXPORTSITIVISITATI 807
#define IDC_CMDSVUOTALOGSITI 808
#define IDC_LOG_CMDESCI 809
