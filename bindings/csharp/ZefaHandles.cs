// The library's handles as SafeHandles: each released once, by its own typed release function,
// when disposed or finalised. Shared and lent handles may be released too: the library ignores it.
using System;
using System.Runtime.InteropServices;

namespace ZefaBase.Interop
{
    internal abstract class ZefaSafeHandle : SafeHandle
    {
        protected ZefaSafeHandle(IntPtr pointer) : base(IntPtr.Zero, true) { SetHandle(pointer); }
        public override bool IsInvalid { get { return handle == IntPtr.Zero; } }
    }

    internal sealed class StatusCodeHandle : ZefaSafeHandle
    {
        public StatusCodeHandle(IntPtr pointer) : base(pointer) {}
        protected override bool ReleaseHandle() { Native.zefa_ZefaStatusCode_release(handle); return true; }
    }

    internal sealed class LifecycleServiceHandle : ZefaSafeHandle
    {
        public LifecycleServiceHandle(IntPtr pointer) : base(pointer) {}
        protected override bool ReleaseHandle() { Native.zefa_ZefaSDKLifecycleService_release(handle); return true; }
    }

    internal sealed class LoggerServiceHandle : ZefaSafeHandle
    {
        public LoggerServiceHandle(IntPtr pointer) : base(pointer) {}
        protected override bool ReleaseHandle() { Native.zefa_ZefaThirdUploadLoggerService_release(handle); return true; }
    }

    internal sealed class ListenerHandle : ZefaSafeHandle
    {
        public ListenerHandle(IntPtr pointer) : base(pointer) {}
        protected override bool ReleaseHandle() { Native.zefa_listener_release(handle); return true; }
    }

    internal sealed class ServerCallRetryHandle : ZefaSafeHandle
    {
        public ServerCallRetryHandle(IntPtr pointer) : base(pointer) {}
        protected override bool ReleaseHandle() { Native.zefa_ZefaServerCallRetry_release(handle); return true; }
    }

    // Runs C# code called from native code: an exception must not unwind through native frames.
    internal static class Callbacks
    {
        public static void Guard(Action body)
        {
            try { body(); }
            catch (Exception error) { Console.Error.WriteLine("ZefaBase: a callback threw: " + error); }
        }

        public static T Guard<T>(T fallback, Func<T> body)
        {
            try { return body(); }
            catch (Exception error) { Console.Error.WriteLine("ZefaBase: a callback threw: " + error); return fallback; }
        }

        // The object behind a GCHandle passed as user_data.
        public static T Target<T>(IntPtr userData) where T : class
        {
            return (T)GCHandle.FromIntPtr(userData).Target;
        }

        // Frees the GCHandle passed as user_data (a listener's dispose entry).
        [MonoPInvokeCallback(typeof(DisposeCallback))]
        public static void FreeUserData(IntPtr userData) { GCHandle.FromIntPtr(userData).Free(); }
        public static readonly DisposeCallback FreeUserDataThunk = FreeUserData;
        public static readonly IntPtr FreeUserDataPointer = Marshal.GetFunctionPointerForDelegate(FreeUserDataThunk);
    }
}
