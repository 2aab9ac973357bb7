// The two hubs: open-URL callbacks fanned out to lifecycle listeners, analytics events fanned out
// to adapters. A C# listener is registered as a table of static callbacks plus a GCHandle to it;
// the library calls the table's dispose entry, which frees the GCHandle, when it lets go.
using System;
using System.Runtime.InteropServices;
using ZefaBase.Interop;

namespace ZefaBase
{
    public sealed class ZefaSDKLifecycleService : IDisposable
    {
        private readonly LifecycleServiceHandle hub;

        private ZefaSDKLifecycleService(IntPtr pointer) { hub = new LifecycleServiceHandle(pointer); }

        // A new hub with no listeners, independent of the shared one.
        public ZefaSDKLifecycleService() : this(Native.zefa_ZefaSDKLifecycleService_init()) {}

        // The process-wide hub.
        public static ZefaSDKLifecycleService SharedInstance
        {
            get { return new ZefaSDKLifecycleService(Native.zefa_ZefaSDKLifecycleService_sharedInstance()); }
        }

        public ZefaListener AddListener(IZefaSDKLifecycleListener listener)
        {
            if (listener == null) throw new ArgumentNullException("listener");
            LifecycleTable table = Thunks.Table;
            IntPtr userData = GCHandle.ToIntPtr(GCHandle.Alloc(listener));
            return new ZefaListener(Native.zefa_lifecycle_listener_add(hub, ref table, userData));
        }

        // True when the listener was in this hub's list.
        public bool RemoveListener(ZefaListener listener)
        {
            return Native.zefa_lifecycle_listener_remove(hub, listener.Handle) != 0;
        }

        // True unless a listener answered false. optionsJson: a JSON object text, or null.
        public bool OpenUrl(IntPtr application, string url, string optionsJson)
        {
            return Native.zefa_ZefaSDKLifecycleService_application_openURL_options_(
                hub, application, Utf8.In(url), Utf8.In(optionsJson)) != 0;
        }

        public bool OpenUrl(IntPtr application, string url, string sourceApplication, IntPtr annotation)
        {
            return Native.zefa_ZefaSDKLifecycleService_application_openURL_sourceApplication_annotation_(
                hub, application, Utf8.In(url), Utf8.In(sourceApplication), annotation) != 0;
        }

        public void OpenUrlContexts(IntPtr scene, IntPtr[] urlContexts)
        {
            IntPtr[] contexts = urlContexts ?? new IntPtr[0];
            Native.zefa_ZefaSDKLifecycleService_scene_openURLContexts_(hub, scene, contexts, (UIntPtr)contexts.Length);
        }

        public void Dispose() { hub.Dispose(); }

        private static class Thunks
        {
            private static readonly OpenUrlOptionsCallback Options = OnOpenUrlOptions;
            private static readonly OpenUrlSourceCallback Source = OnOpenUrlSource;
            private static readonly SceneCallback Scene = OnScene;
            public static readonly LifecycleTable Table = new LifecycleTable
            {
                OpenUrlOptions = Marshal.GetFunctionPointerForDelegate(Options),
                OpenUrlSource = Marshal.GetFunctionPointerForDelegate(Source),
                Scene = Marshal.GetFunctionPointerForDelegate(Scene),
                Dispose = Callbacks.FreeUserDataPointer,
            };

            [MonoPInvokeCallback(typeof(OpenUrlOptionsCallback))]
            private static int OnOpenUrlOptions(IntPtr application, IntPtr url, IntPtr optionsJson, IntPtr userData)
            {
                var listener = Callbacks.Target<IZefaSDKLifecycleListener>(userData);
                return Callbacks.Guard(0, () => listener.OpenUrl(application, Utf8.Lent(url), Utf8.Lent(optionsJson)) ? 1 : 0);
            }

            [MonoPInvokeCallback(typeof(OpenUrlSourceCallback))]
            private static int OnOpenUrlSource(IntPtr application, IntPtr url, IntPtr source, IntPtr annotation, IntPtr userData)
            {
                var listener = Callbacks.Target<IZefaSDKLifecycleListener>(userData);
                return Callbacks.Guard(0, () => listener.OpenUrl(application, Utf8.Lent(url), Utf8.Lent(source), annotation) ? 1 : 0);
            }

            [MonoPInvokeCallback(typeof(SceneCallback))]
            private static void OnScene(IntPtr scene, IntPtr contexts, UIntPtr count, IntPtr userData)
            {
                var listener = Callbacks.Target<IZefaSDKLifecycleListener>(userData);
                var copy = new IntPtr[(int)count];
                if (copy.Length > 0) Marshal.Copy(contexts, copy, 0, copy.Length);
                Callbacks.Guard(() => listener.OpenUrlContexts(scene, copy));
            }
        }
    }

    public sealed class ZefaThirdUploadLoggerService : IDisposable
    {
        private readonly LoggerServiceHandle hub;

        private ZefaThirdUploadLoggerService(IntPtr pointer) { hub = new LoggerServiceHandle(pointer); }

        // A new hub with no adapters, independent of the shared one.
        public ZefaThirdUploadLoggerService() : this(Native.zefa_ZefaThirdUploadLoggerService_init()) {}

        // The process-wide hub.
        public static ZefaThirdUploadLoggerService SharedInstance
        {
            get { return new ZefaThirdUploadLoggerService(Native.zefa_ZefaThirdUploadLoggerService_sharedInstance()); }
        }

        public ZefaListener AddAdapter(IZefaThirdUploadLogger adapter)
        {
            if (adapter == null) throw new ArgumentNullException("adapter");
            LoggerTable table = Thunks.Table;
            IntPtr userData = GCHandle.ToIntPtr(GCHandle.Alloc(adapter));
            return new ZefaListener(Native.zefa_logger_listener_add(hub, ref table, userData));
        }

        public bool RemoveAdapter(ZefaListener adapter)
        {
            return Native.zefa_logger_listener_remove(hub, adapter.Handle) != 0;
        }

        public void GameStart() { Native.zefa_ZefaThirdUploadLoggerService_gameStart(hub); }
        public void RegisterEvent() { Native.zefa_ZefaThirdUploadLoggerService_registerEvent(hub); }
        public void Login() { Native.zefa_ZefaThirdUploadLoggerService_login(hub); }
        public void Level(long level) { Native.zefa_ZefaThirdUploadLoggerService_level_(hub, level); }
        public void AddToCart(double amount, string first, string second) { Native.zefa_ZefaThirdUploadLoggerService_addToCart___(hub, amount, Utf8.In(first), Utf8.In(second)); }
        public void InitCheckout(double amount, string first, string second) { Native.zefa_ZefaThirdUploadLoggerService_initCheckout___(hub, amount, Utf8.In(first), Utf8.In(second)); }
        public void Purchase(double amount, string first, string second) { Native.zefa_ZefaThirdUploadLoggerService_purchase___(hub, amount, Utf8.In(first), Utf8.In(second)); }
        public void Subscription(double amount, string first, string second) { Native.zefa_ZefaThirdUploadLoggerService_subscription___(hub, amount, Utf8.In(first), Utf8.In(second)); }
        public void AdShow(string first, string second, string third, string fourth, string fifth, double amount)
        {
            Native.zefa_ZefaThirdUploadLoggerService_adShow______(hub, Utf8.In(first), Utf8.In(second),
                Utf8.In(third), Utf8.In(fourth), Utf8.In(fifth), amount);
        }

        public void Dispose() { hub.Dispose(); }

        private static class Thunks
        {
            private static readonly EventCallback GameStart = OnGameStart;
            private static readonly EventCallback RegisterEvent = OnRegisterEvent;
            private static readonly EventCallback Login = OnLogin;
            private static readonly LevelCallback Level = OnLevel;
            private static readonly AmountCallback AddToCart = OnAddToCart;
            private static readonly AmountCallback InitCheckout = OnInitCheckout;
            private static readonly AmountCallback Purchase = OnPurchase;
            private static readonly AmountCallback Subscription = OnSubscription;
            private static readonly AdShowCallback AdShow = OnAdShow;
            public static readonly LoggerTable Table = new LoggerTable
            {
                GameStart = Marshal.GetFunctionPointerForDelegate(GameStart),
                RegisterEvent = Marshal.GetFunctionPointerForDelegate(RegisterEvent),
                Login = Marshal.GetFunctionPointerForDelegate(Login),
                Level = Marshal.GetFunctionPointerForDelegate(Level),
                AddToCart = Marshal.GetFunctionPointerForDelegate(AddToCart),
                InitCheckout = Marshal.GetFunctionPointerForDelegate(InitCheckout),
                Purchase = Marshal.GetFunctionPointerForDelegate(Purchase),
                Subscription = Marshal.GetFunctionPointerForDelegate(Subscription),
                AdShow = Marshal.GetFunctionPointerForDelegate(AdShow),
                Dispose = Callbacks.FreeUserDataPointer,
            };

            private static void Send(IntPtr userData, Action<IZefaThirdUploadLogger> send)
            {
                var adapter = Callbacks.Target<IZefaThirdUploadLogger>(userData);
                Callbacks.Guard(() => send(adapter));
            }

            [MonoPInvokeCallback(typeof(EventCallback))]
            private static void OnGameStart(IntPtr userData) { Send(userData, a => a.GameStart()); }
            [MonoPInvokeCallback(typeof(EventCallback))]
            private static void OnRegisterEvent(IntPtr userData) { Send(userData, a => a.RegisterEvent()); }
            [MonoPInvokeCallback(typeof(EventCallback))]
            private static void OnLogin(IntPtr userData) { Send(userData, a => a.Login()); }
            [MonoPInvokeCallback(typeof(LevelCallback))]
            private static void OnLevel(long level, IntPtr userData) { Send(userData, a => a.Level(level)); }
            [MonoPInvokeCallback(typeof(AmountCallback))]
            private static void OnAddToCart(double amount, IntPtr first, IntPtr second, IntPtr userData) { Send(userData, a => a.AddToCart(amount, Utf8.Lent(first), Utf8.Lent(second))); }
            [MonoPInvokeCallback(typeof(AmountCallback))]
            private static void OnInitCheckout(double amount, IntPtr first, IntPtr second, IntPtr userData) { Send(userData, a => a.InitCheckout(amount, Utf8.Lent(first), Utf8.Lent(second))); }
            [MonoPInvokeCallback(typeof(AmountCallback))]
            private static void OnPurchase(double amount, IntPtr first, IntPtr second, IntPtr userData) { Send(userData, a => a.Purchase(amount, Utf8.Lent(first), Utf8.Lent(second))); }
            [MonoPInvokeCallback(typeof(AmountCallback))]
            private static void OnSubscription(double amount, IntPtr first, IntPtr second, IntPtr userData) { Send(userData, a => a.Subscription(amount, Utf8.Lent(first), Utf8.Lent(second))); }
            [MonoPInvokeCallback(typeof(AdShowCallback))]
            private static void OnAdShow(IntPtr first, IntPtr second, IntPtr third, IntPtr fourth, IntPtr fifth, double amount, IntPtr userData)
            {
                Send(userData, a => a.AdShow(Utf8.Lent(first), Utf8.Lent(second), Utf8.Lent(third), Utf8.Lent(fourth), Utf8.Lent(fifth), amount));
            }
        }
    }
}
