' The progress object: any object with writable Max and Value, reached by name. A large
' design (big.DST, 60,000 stitches) reports as it goes, writing and reading; without an
' object, or with Nothing, the conversion stops with 91; an object lacking Value stops
' it with 438.
Option Explicit
Dim failures : failures = 0
Sub Check(ok, what)
  If Not ok Then failures = failures + 1 : WScript.Echo "FAIL: " & what
End Sub

Class Progress
  Public Max
  Public Updates
  Public Backwards
  Private mValue
  Public Property Let Value(v)
    If Not IsEmpty(mValue) Then If v < mValue Then Backwards = Backwards + 1
    mValue = v : Updates = Updates + 1
  End Property
  Public Property Get Value
    Value = mValue
  End Property
End Class

Class MaxOnly
  Public Max
End Class

Dim sh : Set sh = CreateObject("WScript.Shell")
' (Wine's ExpandEnvironmentStrings keeps the terminating NUL in the string.)
Function Env(name)
  Env = Replace(sh.ExpandEnvironmentStrings("%" & name & "%"), Chr(0), "")
End Function
Dim fso : Set fso = CreateObject("Scripting.FileSystemObject")
Dim work : work = Env("TAVLIN_TEST")
Dim big : big = work & "\big.DST"
Dim bytes : bytes = fso.GetFile(big).Size
Dim t : Set t = CreateObject("Tavlin.clsTavlin")
t.BindDriveFolder 0, work & "\progress"

Dim pb : Set pb = New Progress
Check t.WriteToDisc(big, "A:\BIG.DSB", 3, pb) = 0, "WriteToDisc of a large design"
WScript.Echo "PROGRESS DSB Max " & pb.Max & " updates " & pb.Updates & " last " & pb.Value
Check pb.Max = bytes, "Max " & pb.Max & " is not the source's " & bytes & " bytes"
Check pb.Updates >= 50, "only " & pb.Updates & " updates"
Check pb.Backwards = 0, "Value went back " & pb.Backwards & " times"
Check pb.Value > 0 And pb.Value <= pb.Max, "last Value " & pb.Value

' The object given last time isn't kept: no object now means 91.
Check t.WriteToDisc(big, "A:\BIG.EXP", 3) = 91, "no PB"
Dim nothingThere : Set nothingThere = Nothing
Check t.WriteToDisc(big, "A:\BIG.EXP", 3, nothingThere) = 91, "PB Nothing"
Check t.ReadFromDisc(0, "A:\BIG.DSB", work & "\progress\back.DST", 3) = 91, "ReadFromDisc without PB"
Dim half : Set half = New MaxOnly
Check t.WriteToDisc(big, "A:\BIG.EXP", 3, half) = 438, "a PB without Value"
Check half.Max = bytes, "Max was not written before Value failed: " & half.Max

' Reading back with progress.
Set pb = New Progress
Check t.ReadFromDisc(0, "A:\BIG.DSB", work & "\progress\back.DST", 3, pb) = 0, "ReadFromDisc with PB"
Check pb.Updates >= 50, "ReadFromDisc: only " & pb.Updates & " updates"

If failures = 0 Then WScript.Echo "PASS progress" Else WScript.Echo failures & " checks failed"
