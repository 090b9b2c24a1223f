// Prints the report of a saved snapshot. Usage: Report.exe <SNAPSHOT

using System;
using System.IO;
using System.Runtime.InteropServices;

static class Report {
  const uint Ok = 0;  // EGRESS_OK

  [DllImport("egress-c")]
  static extern IntPtr egress_diagnose(byte[] snapshot, UIntPtr length);
  [DllImport("egress-c")]
  static extern uint egress_result_status(IntPtr result);
  [DllImport("egress-c")]
  static extern IntPtr egress_result_text(IntPtr result);
  [DllImport("egress-c")]
  static extern UIntPtr egress_result_length(IntPtr result);
  [DllImport("egress-c")]
  static extern void egress_result_free(IntPtr result);

  // The report, or why there is none, in UTF-8.
  static byte[] Diagnose(byte[] snapshot, out bool isRefused) {
    IntPtr result = egress_diagnose(snapshot, (UIntPtr)snapshot.Length);
    try {
      isRefused = egress_result_status(result) != Ok;
      byte[] text = new byte[(int)egress_result_length(result)];
      Marshal.Copy(egress_result_text(result), text, 0, text.Length);
      return text;
    } finally {
      egress_result_free(result);
    }
  }

  static int Main() {
    MemoryStream snapshot = new MemoryStream();
    Console.OpenStandardInput().CopyTo(snapshot);
    bool isRefused;
    byte[] text = Diagnose(snapshot.ToArray(), out isRefused);
    using (Stream output = isRefused ? Console.OpenStandardError() : Console.OpenStandardOutput()) {
      output.Write(text, 0, text.Length);
      output.WriteByte((byte)'\n');
    }
    return isRefused ? 1 : 0;
  }
}
