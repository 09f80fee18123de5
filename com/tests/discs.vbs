' The main job on each family's disc, as a design program does it: bind drive A: to a
' disc image, format it, write a DST, list, read the design back, delete it. The
' images and designs are left in the test folder, where compare.sh checks them
' against what the tavlin command makes of the same files.
Option Explicit
Dim failures : failures = 0
Sub Check(ok, what)
  If Not ok Then failures = failures + 1 : WScript.Echo "FAIL: " & what
End Sub

Class Progress
  Public Max
  Public Updates
  Private mValue
  Public Property Let Value(v)
    mValue = v : Updates = Updates + 1
  End Property
  Public Property Get Value
    Value = mValue
  End Property
End Class

Dim sh : Set sh = CreateObject("WScript.Shell")
' (Wine's ExpandEnvironmentStrings keeps the terminating NUL in the string.)
Function Env(name)
  Env = Replace(sh.ExpandEnvironmentStrings("%" & name & "%"), Chr(0), "")
End Function
Dim fso : Set fso = CreateObject("Scripting.FileSystemObject")
Dim work : work = Env("TAVLIN_TEST")
Dim samples : samples = Env("TAVLIN_SAMPLES")
Dim star : star = samples & "\Star.DST"
Dim t : Set t = CreateObject("Tavlin.clsTavlin")

Function Listing()
  Listing = Replace(t.Files, Chr(0), "|")
End Function

' Lets go of the image (its writes reach the file) and keeps a copy of it as it is now.
Sub KeepImage(image, copy)
  t.UnbindDrive 0
  fso.CopyFile work & "\" & image, work & "\" & copy, True
  t.BindDriveImage 0, work & "\" & image
End Sub

' The family's own listing call.
Function Directory(formatType)
  Select Case formatType
    Case 0 : Directory = t.DirectoryFMC()
    Case 1 : Directory = t.DirectoryFDR()
    Case 2 : Directory = t.DirectoryZSK()
  End Select
End Function

' FMC (FormatType 0, DiscType 2), FDR3 (1, 1) and ZSK (2, 3): sector families, listed
' by their own Directory call. Only FDR3 takes the design's name from DestFile.
Sub SectorFamily(family, formatType, discType, name)
  Dim image : image = family & ".img"
  Dim pb : Set pb = New Progress
  t.BindDriveImage 0, work & "\" & image
  Check t.FormatDisc(formatType) = 0, family & ": FormatDisc"
  Check t.ReadDisc() = 2 And t.DiscType = discType, family & ": a new disc lists as empty of its family, ReadDisc " & t.ReadDisc() & " type " & t.DiscType
  Check t.WriteToDisc(star, name, formatType, pb) = 0, family & ": WriteToDisc"
  Check pb.Max > 0 And pb.Updates > 0, family & ": no progress, Max " & pb.Max & ", updates " & pb.Updates
  ' Only a PES destination chooses a hoop (see the DOS disc below), and every
  ' conversion clears it first.
  Check t.HoopSize = "", family & ": HoopSize after a conversion to the disc is " & t.HoopSize
  KeepImage image, family & "-written.img"
  Check t.ReadDisc() = 0, family & ": ReadDisc after the write"
  Check t.DiscType = discType, family & ": DiscType " & t.DiscType
  Check Directory(formatType) = 0, family & ": its Directory call"
  WScript.Echo "FILES " & family & " " & Listing()
  WScript.Echo "FORMAT " & family & " " & t.Format
  WScript.Echo "FREE " & family & " " & t.FreeStitches
  Check UBound(Split(t.Files, Chr(0))) = 1, family & ": one line expected in " & Listing()
  Check t.FreeStitches > 0, family & ": no free room"
  Check t.ReadFromDisc(0, "", work & "\" & family & "-read.QEP", formatType, pb) = 0, family & ": ReadFromDisc"
  Check fso.FileExists(work & "\" & family & "-read.QEP"), family & ": nothing read"
  Check t.ReadFromDisc(5, "", work & "\" & family & "-none.QEP", formatType, pb) = 2, family & ": ReadFromDisc of no such line"
  Check t.DeleteFromDisc(0, "", formatType) = 0, family & ": DeleteFromDisc"
  Check Directory(formatType) = 2, family & ": the disc is not empty after the delete"
  Check t.Files = "", family & ": listing after the delete is " & Listing()
  KeepImage image, family & "-deleted.img"
  ' Without a progress object the conversion stops with 91, and the disc is unchanged.
  Check t.WriteToDisc(star, name, formatType) = 91, family & ": WriteToDisc without PB"
  Check Directory(formatType) = 2, family & ": a write without PB left a design"
  t.UnbindDrive 0
End Sub

SectorFamily "fmc", 0, 2, ""
SectorFamily "fdr3", 1, 1, "STAR"
SectorFamily "zsk", 2, 3, ""

' A DOS disc (FormatType 3, DiscType 4): paths name the files, the extension the format.
Dim pb : Set pb = New Progress
t.BindDriveImage 0, work & "\dos.img"
' Every DOS machine's type, 3 to 16 and 18 to 19, formats the same DOS disc.
' (compare.sh checks the three images.)
Check t.FormatDisc(18) = 0, "dos: FormatDisc 18"
KeepImage "dos.img", "dos-format18.img"
Check t.FormatDisc(5) = 0, "dos: FormatDisc 5"
KeepImage "dos.img", "dos-format5.img"
Check t.FormatDisc(3) = 0, "dos: FormatDisc"
KeepImage "dos.img", "dos-format3.img"
Check t.ReadDisc() = 2, "dos: a new DOS disc has nothing to list"
Check t.WriteToDisc(star, "A:\STAR.DSB", 3, pb) = 0, "dos: WriteToDisc"
Check pb.Updates > 0, "dos: no progress"
Check t.HoopSize = "", "dos: HoopSize after a conversion to DSB is " & t.HoopSize
Check t.WriteToDisc(star, "A:\STAR.EXP", 3) = 91, "dos: WriteToDisc without PB gives 91"
Check t.ReadDisc() = 0 And t.DiscType = 4, "dos: ReadDisc " & t.DiscType
WScript.Echo "FILES dos " & Listing()
WScript.Echo "FORMAT dos " & t.Format
WScript.Echo "FREE dos " & t.FreeStitches
Check InStr(t.Files, "STAR.DSB") > 0, "dos: STAR.DSB not listed in " & Listing()
Check t.ReadFromDisc(0, "A:\STAR.DSB", work & "\dos-read.DST", 3, pb) = 0, "dos: ReadFromDisc"
KeepImage "dos.img", "dos-written.img"
Check t.DeleteFromDisc(0, "A:\STAR.DSB", 3) = 0, "dos: DeleteFromDisc"
Check t.ReadDisc() = 2, "dos: a disc with nothing on it lists 2"
Check t.ReadFromDisc(0, "A:\STAR.DSB", work & "\dos-none.DST", 3, pb) <> 0, "dos: a deleted file still reads"
' A PES destination chooses the hoop: a QEP read from the disc into a PES puts the star
' into the 100 x 100 hoop, and the next conversion clears it.
Check t.WriteToDisc(star, "A:\STAR.QEP", 3, pb) = 0, "dos: WriteToDisc of a QEP"
Check t.ReadFromDisc(0, "A:\STAR.QEP", work & "\dos-read.PES", 3, pb) = 0, "dos: ReadFromDisc into a PES"
Check fso.FileExists(work & "\dos-read.PES"), "dos: no PES read"
Check t.HoopSize = "100x100", "dos: HoopSize after a PES is " & t.HoopSize
Check t.ReadFromDisc(0, "A:\STAR.QEP", work & "\dos-read2.DST", 3, pb) = 0, "dos: ReadFromDisc into a DST"
Check t.HoopSize = "", "dos: HoopSize after a DST is " & t.HoopSize
' HUS goes through the design-file service: the star written as a HUS on the disc,
' read back into a DST, and converted by ConvertFile.
Check t.WriteToDisc(star, "A:\STAR.HUS", 3, pb) = 0, "dos: WriteToDisc of a HUS"
Check t.ReadFromDisc(0, "A:\STAR.HUS", work & "\dos-hus.DST", 3, pb) = 0, "dos: ReadFromDisc of a HUS"
Check t.ConvertFile(star, work & "\star.HUS") = 0, "ConvertFile to a HUS"
Check t.ConvertFile(work & "\star.HUS", work & "\star-hus.DST") = 0, "ConvertFile from a HUS"
Check fso.FileExists(work & "\star-hus.DST"), "ConvertFile: no DST made of the HUS"
t.UnbindDrive 0

' A folder for drive B: works as a DOS disc.
t.SetDrive = 1
t.BindDriveFolder 1, work & "\folder-b"
Check t.WriteToDisc(star, "B:\STAR.KSM", 3, pb) = 0, "folder: WriteToDisc"
Check fso.FileExists(work & "\folder-b\STAR.KSM"), "folder: STAR.KSM not in the folder"
Check t.ReadDisc() = 0 And t.DiscType = 4, "folder: ReadDisc type " & t.DiscType
WScript.Echo "FILES folder " & Listing()
t.UnbindDrive 1

' Unbound, A: is the machine's own drive A: (a folder behind Wine's a: here).
t.SetDrive = 0
Check t.WriteToDisc(star, "A:\STAR.EXP", 3, pb) = 0, "machine A:: WriteToDisc"
Check fso.FileExists(work & "\machine-a\STAR.EXP"), "machine A:: STAR.EXP not on the machine's A:"
Check t.ReadDisc() = 0 And t.DiscType = 4, "machine A:: ReadDisc type " & t.DiscType

If failures = 0 Then WScript.Echo "PASS discs" Else WScript.Echo failures & " checks failed"
