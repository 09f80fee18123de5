' A fresh clsTavlin as a late-bound host sees it: the values of a new object, the
' stored and refused stitch lengths, the disc-type checks that need no disc, and
' arguments of every kind a script passes, coerced as VB coerces them.
Option Explicit
Dim failures : failures = 0
Sub Check(ok, what)
  If Not ok Then failures = failures + 1 : WScript.Echo "FAIL: " & what
End Sub
Function ErrorOf(number)
  ErrorOf = "error " & number & " (" & Err.Description & ")"
End Function

Dim t : Set t = CreateObject("Tavlin.clsTavlin")
Check TypeName(t) = "_clsTavlin" Or TypeName(t) = "clsTavlin", "the object's type name is " & TypeName(t)

' A new object.
Check t.MaxStitchLen = 50, "MaxStitchLen of a new object is " & t.MaxStitchLen
Check t.SetDrive = 0, "SetDrive of a new object is " & t.SetDrive
Check t.DiscType = 0, "DiscType of a new object is " & t.DiscType
Check t.Files = "", "Files of a new object is not empty"
Check t.Format = "", "Format of a new object is not empty"
Check t.FreeStitches = 0, "FreeStitches of a new object is " & t.FreeStitches
Check TypeName(t.FreeStitches) = "Long", "FreeStitches is a " & TypeName(t.FreeStitches)
Check TypeName(t.MaxStitchLen) = "Integer", "MaxStitchLen is a " & TypeName(t.MaxStitchLen)
Check t.HoopSize = "", "HoopSize of a new object is " & t.HoopSize

' The stitch length: 20 to 121 stored, anything else 40.
t.MaxStitchLen = 20 : Check t.MaxStitchLen = 20, "20 gave " & t.MaxStitchLen
t.MaxStitchLen = 121 : Check t.MaxStitchLen = 121, "121 gave " & t.MaxStitchLen
t.MaxStitchLen = 19 : Check t.MaxStitchLen = 40, "19 gave " & t.MaxStitchLen
t.MaxStitchLen = 77
t.MaxStitchLen = 122 : Check t.MaxStitchLen = 40, "122 gave " & t.MaxStitchLen

' FormatDisc: 17 formats nothing and gives 2, 20 and -1 give 1; no drive is touched.
Check t.FormatDisc(17) = 2, "FormatDisc 17"
Check t.FormatDisc(20) = 1, "FormatDisc 20"
Check t.FormatDisc(-1) = 1, "FormatDisc -1"

' WriteToDisc, ReadFromDisc and DeleteFromDisc outside 0 to 3 give 3.
Check t.WriteToDisc("Z:\none.DST", "Z:\none.DSB", 4) = 3, "WriteToDisc with FormatType 4"
Check t.ReadFromDisc(0, "", "Z:\none.DST", 4) = 3, "ReadFromDisc with FormatType 4"
Check t.DeleteFromDisc(0, "", 4) = 3, "DeleteFromDisc with FormatType 4"
Check t.DeleteFromDisc(0, "", -1) = 3, "DeleteFromDisc with FormatType -1"

' The members that need no disc and give nothing back run without error.
t.SaveTheVector
t.RestoreTheVector
' The design-file service is ours now: it reads HUS and SHV but writes no SHV, so
' ConvertFile to SHV gives its 1001; Format720, which goes through it, gives False here.
Dim sh : Set sh = CreateObject("WScript.Shell")
Dim samples : samples = Replace(sh.ExpandEnvironmentStrings("%TAVLIN_SAMPLES%"), Chr(0), "")
Check t.ConvertFile(samples & "\Star.DST", "Z:\no\such\Star.SHV") = 1001, "ConvertFile to SHV, which the service does not write"
Check t.ConvertFile("Z:\no\such\Star.HUS", "Z:\no\such\Star.DST") = 53, "ConvertFile of a missing file"
Check TypeName(t.Format720()) = "Boolean", "Format720 gives a " & TypeName(t.Format720())
Check Not t.Format720(), "Format720 without the design-file library was True"

' A second object in the apartment shares the record but resets drive and length.
t.SetDrive = 1 : t.MaxStitchLen = 99
Dim u : Set u = CreateObject("Tavlin.clsTavlin")
Check t.SetDrive = 0 And t.MaxStitchLen = 50, "a second object did not reset the shared drive and length"
Set u = Nothing

' Arguments: variables (passed by reference), literals, and any numeric or string type.
Dim ft, name, n
ft = 17 : Check t.FormatDisc(ft) = 2, "FormatDisc of a variable holding 17"
ft = "17" : Check t.FormatDisc(ft) = 2, "FormatDisc of a variable holding ""17"""
ft = 17.4 : Check t.FormatDisc(ft) = 2, "FormatDisc of 17.4"
ft = CByte(17) : Check t.FormatDisc(ft) = 2, "FormatDisc of a Byte 17"
ft = CCur(17) : Check t.FormatDisc(ft) = 2, "FormatDisc of a Currency 17"
Check t.FormatDisc(CLng(20)) = 1, "FormatDisc of a Long 20"
Check t.FormatDisc(True) = 1, "FormatDisc of True (-1)"
Check ft = 17 And TypeName(ft) = "Currency", "the host's variable was changed to " & TypeName(ft) & " " & ft
n = "25" : t.MaxStitchLen = n : Check t.MaxStitchLen = 25, "MaxStitchLen from ""25"""
t.MaxStitchLen = 30.5 : Check t.MaxStitchLen = 30, "30.5 rounds to even, gave " & t.MaxStitchLen
t.MaxStitchLen = 31.5 : Check t.MaxStitchLen = 32, "31.5 rounds to even, gave " & t.MaxStitchLen
t.SetDrive = "1" : Check t.SetDrive = 1, "SetDrive from ""1"""
t.SetDrive = 0
name = 4 : Check t.WriteToDisc(name, name, name) = 3, "numbers as file names are text"
t.HoopSize = 130 : Check t.HoopSize = "", "a host's hoop is not kept"
t.PESAbosulte = 1

' What can't be coerced is refused, naming the type mismatch or the overflow.
On Error Resume Next
Err.Clear : n = t.FormatDisc("abc")
Check Err.Number = 13, "FormatDisc(""abc"") gave " & ErrorOf(Err.Number)
Err.Clear : n = t.FormatDisc(40000)
Check Err.Number = 6, "FormatDisc(40000) gave " & ErrorOf(Err.Number)
Err.Clear : n = t.FormatDisc(Null)
Check Err.Number = 13 Or Err.Number = 94, "FormatDisc(Null) gave " & ErrorOf(Err.Number)
Err.Clear : n = t.FormatDisc(Array(1, 2))
Check Err.Number = 13, "FormatDisc of an array gave " & ErrorOf(Err.Number)
Err.Clear : t.MaxStitchLen = "long"
Check Err.Number = 13, "MaxStitchLen = ""long"" gave " & ErrorOf(Err.Number)
Check t.MaxStitchLen = 32, "a refused MaxStitchLen changed it to " & t.MaxStitchLen
Err.Clear : n = t.WriteToDisc("a.DST", "b.DST", 3, "not an object")
Check Err.Number = 13, "a text as PB gave " & ErrorOf(Err.Number)
Err.Clear : n = t.FormatDisc()
Check Err.Number <> 0, "FormatDisc without its argument was taken"
Err.Clear : n = t.FormatDisc(1, 2)
Check Err.Number <> 0, "FormatDisc with two arguments was taken"
Err.Clear : n = t.NoSuchMember
Check Err.Number = 438, "an unknown member gave " & ErrorOf(Err.Number)

' Drives: only A: (0) and B: (1) are bound, and a bad image says why.
Err.Clear : t.BindDriveImage 0, "Z:\no\such\disc.img"
Check Err.Number <> 0 And InStr(Err.Description, "cannot open disc image") > 0, _
      "binding a missing image gave " & ErrorOf(Err.Number)
Err.Clear : t.BindDriveFolder 2, "Z:\"
Check Err.Number <> 0 And InStr(Err.Description, "is not 0 (A:) or 1 (B:)") > 0, _
      "binding drive 2 gave " & ErrorOf(Err.Number)
Err.Clear : t.UnbindDrive 1
Check Err.Number = 0, "unbinding B: gave " & ErrorOf(Err.Number)
On Error GoTo 0

If failures = 0 Then WScript.Echo "PASS fresh" Else WScript.Echo failures & " checks failed"
